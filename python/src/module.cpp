// The module trelm itself: thread-pool control, the routing of the library's diagnostic and
// user-facing output to Python's logging, and the registration of every family of bindings.
// Output callbacks take the GIL themselves; every binding runs library code with the GIL
// released, so a pool thread that prints can always get it.

#include "bindings.h"

#include <oxGeom/debugChannel.h>
#include <oxOS/AppOutput.h>
#include <oxUtil/ThreadPool.h>

#include <cstdio>

#ifndef TRELM_VERSION
#define TRELM_VERSION "0.0.0"
#endif

namespace trelm_py
{
std::shared_mutex& poolMutex()
{
    static std::shared_mutex mutex;
    return mutex;
}

namespace
{
thread_local AppOutputCapture* currentCapture = nullptr;

constexpr int loggingDebug = 10;
constexpr int loggingInfo = 20;
constexpr int loggingError = 40;

// Sends each non-empty line of `text` to the Python logger `loggerName`. Safe from any thread:
// it takes the GIL, and falls back to stderr once the interpreter is gone.
void logLines(const char* loggerName, int level, const char* text)
{
    if (!Py_IsInitialized())
    {
        std::fputs(text, stderr);
        return;
    }
    py::gil_scoped_acquire gil;
    try
    {
        py::object logger = py::module_::import("logging").attr("getLogger")(loggerName);
        std::string all(text);
        std::size_t start = 0;
        while (start < all.size())
        {
            std::size_t end = all.find('\n', start);
            if (end == std::string::npos)
                end = all.size();
            if (end > start)
                logger.attr("log")(level, all.substr(start, end - start));
            start = end + 1;
        }
    }
    catch (py::error_already_set& error)
    {
        error.discard_as_unraisable("trelm logging");
    }
}

void routeAppOutput()
{
    oxOS::AppOutput::getInstance().setCallback(
        [](oxOS::AppOutput::Level level, const char* text)
        {
            const bool isError = level == oxOS::AppOutput::Level::Error;
            captureAppOutput(isError, text);
            logLines("trelm", isError ? loggingError : loggingInfo, text);
        });
}

void enableDebugLogging(bool enabled)
{
    oxOS::DebugChannel& channel = oxGeom::debugChannel();
    if (enabled)
    {
        channel.setCallback([](const char* text) { logLines("trelm.debug", loggingDebug, text); });
        channel.enable();
    }
    else
    {
        channel.disable();
        channel.setCallback({});
    }
}

// Callbacks into Python must not outlive the interpreter.
void detachOutput()
{
    enableDebugLogging(false);
    oxOS::AppOutput::getInstance().setCallback({});
}

void setThreads(int count)
{
    if (count < 1 || count > oxUtil::ThreadPool::maxThreads)
        throw py::value_error("set_threads: count must lie in [1, " +
                              std::to_string(oxUtil::ThreadPool::maxThreads) + "], got " +
                              std::to_string(count));
    py::gil_scoped_release release;
    std::unique_lock<std::shared_mutex> exclusive(poolMutex());
    oxUtil::ThreadPool::get().setNumThreads(count);
}
}  // namespace

AppOutputCapture::AppOutputCapture() : m_previous(currentCapture)
{
    currentCapture = this;
}

AppOutputCapture::~AppOutputCapture()
{
    currentCapture = m_previous;
}

std::string AppOutputCapture::errors() const
{
    return m_errors;
}

void captureAppOutput(bool isError, const std::string& text)
{
    if (currentCapture == nullptr || !isError)
        return;
    std::string line = text;
    while (!line.empty() && (line.back() == '\n' || line.back() == ' '))
        line.pop_back();
    if (line.empty())
        return;
    if (!currentCapture->m_errors.empty())
        currentCapture->m_errors += ' ';
    currentCapture->m_errors += line;
}
}  // namespace trelm_py

PYBIND11_MODULE(trelm, m)
{
    using namespace trelm_py;
    using namespace pybind11::literals;
    m.doc() = R"doc(
Algorithms over indexed triangle meshes, with NumPy arrays in and out.

Meshes (trelm.Mesh) are immutable: measuring functions return numbers and arrays, editing
functions return new meshes. Batched queries (ClosestPoint, RayCaster, inside) release the GIL
and run on the library's thread pool (set_threads). User-facing messages go to the logger
'trelm'; enable_debug_logging() sends the library's timing lines to 'trelm.debug'.)doc";
    m.attr("__version__") = TRELM_VERSION;

    py::register_exception<Cancelled>(m, "CancelledError").attr("__doc__") =
        "Raised by flatten when its progress callback returned False.";

    m.def("set_threads", &setThreads, "count"_a, R"doc(
Sets the number of threads of the library's pool (the caller counts as one).

count: 1 to 256. Waits for running batched calls to finish first. Raises ValueError for a
count outside that range.)doc");
    m.def(
        "get_threads", [] { return oxUtil::ThreadPool::get().getNumThreads(); },
        "The number of threads of the library's pool (the machine's hardware threads unless "
        "set_threads changed it).");
    m.def("enable_debug_logging", &enableDebugLogging, "enabled"_a = true, R"doc(
Routes the library's diagnostic lines (operation, sizes, seconds) to the logger 'trelm.debug'
at DEBUG level, or, with enabled=False, silences them again (the default).)doc");

    registerMesh(m);
    registerAnalysis(m);
    registerTopology(m);
    registerEditing(m);
    registerQueries(m);
    registerParameterization(m);
    registerView(m);
    registerSampling(m);

    routeAppOutput();
    py::module_::import("atexit").attr("register")(py::cpp_function(&detachOutput));
}
