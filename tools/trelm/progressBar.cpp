// The progress bar and Ctrl-C handling of the trelm tool. SIGINT only cancels the command's
// progress root (a lock-free atomic store, safe in a signal handler); the library's long
// operations and the tool's own loops poll that flag and return, and the command then leaves
// without writing its output.

#include "progressBar.h"

#include "cliCommon.h"

#include <unistd.h>
#include <atomic>
#include <csignal>
#include <cstdio>

namespace trelm::cli
{
namespace
{
// The progress the signal handler cancels; null outside a command.
std::atomic<oxUtil::Progress*> g_interruptTarget{nullptr};
std::atomic<int> g_interruptCount{0};
struct sigaction g_previousAction;

extern "C" void onInterrupt(int)
{
    if (g_interruptCount.fetch_add(1) > 0)
    {
        // A second Ctrl-C: the user does not want to wait for the current step to end.
        std::signal(SIGINT, SIG_DFL);
        std::raise(SIGINT);
        return;
    }
    if (oxUtil::Progress* progress = g_interruptTarget.load())
        progress->cancel();
}

constexpr int barWidth = 30;
constexpr auto redrawInterval = std::chrono::milliseconds(50);
}  // namespace

CommandProgress::CommandProgress(bool show)
    : m_root([this](double fraction, const char* caption) { draw(fraction, caption); }),
      m_show(show)
{
    static_assert(std::atomic<oxUtil::Progress*>::is_always_lock_free,
                  "the signal handler needs a lock-free pointer");
    g_interruptCount.store(0);
    g_interruptTarget.store(&m_root);
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &g_previousAction);
}

CommandProgress::~CommandProgress()
{
    sigaction(SIGINT, &g_previousAction, nullptr);
    g_interruptTarget.store(nullptr);
    clear();
}

oxUtil::Progress& CommandProgress::stage(const char* caption)
{
    m_root.set(0.0);
    m_root.subPhase(1.0, m_stage);
    m_stage.setCaption(caption);
    return m_stage;
}

void CommandProgress::throwIfInterrupted() const
{
    if (interrupted())
        throw ToolError(ExitInterrupted, "interrupted; no output written");
}

void CommandProgress::clear()
{
    std::lock_guard<std::mutex> lock(m_drawMutex);
    if (m_drawn)
    {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        m_drawn = false;
    }
}

void CommandProgress::draw(double fraction, const char* caption)
{
    if (!m_show || caption == nullptr || *caption == '\0')  // before the first stage
        return;
    std::lock_guard<std::mutex> lock(m_drawMutex);
    const auto now = std::chrono::steady_clock::now();
    const bool newCaption = m_lastCaption != caption;
    if (!newCaption && m_drawn && now - m_lastDraw < redrawInterval)
        return;
    m_lastDraw = now;
    m_lastCaption = caption;
    const int filled = static_cast<int>(fraction * barWidth + 0.5);
    char bar[barWidth + 1];
    for (int i = 0; i < barWidth; ++i)
        bar[i] = i < filled ? '=' : (i == filled ? '>' : ' ');
    bar[barWidth] = '\0';
    std::fprintf(stderr, "\r\033[K%-24.24s [%s] %3d%%", caption, bar,
                 static_cast<int>(fraction * 100.0 + 0.5));
    std::fflush(stderr);
    m_drawn = true;
}
}  // namespace trelm::cli
