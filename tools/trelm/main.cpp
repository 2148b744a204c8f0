// trelm: the command-line face of the Trelm library, one program with subcommands in the style
// of git. main parses the command line with CLI11, applies the global options (threads,
// verbosity), runs the chosen subcommand and turns its outcome into the documented exit status.

#include "commands.h"

#include <oxGeom/debugChannel.h>
#include <oxOS/AppOutput.h>
#include <oxUtil/ThreadPool.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <new>

#ifndef TRELM_VERSION
#define TRELM_VERSION "unknown"
#endif

namespace
{
using namespace trelm::cli;

const char* const exitStatusNote =
    "Exit status: 0 success; 1 failure (bad arguments, unwritable output, failed operation); "
    "2 unreadable or malformed input file; 130 interrupted by Ctrl-C (no output written).";

// One line for every parse error, so scripts see the same shape as for the tool's own errors.
std::string oneLineFailure(const CLI::App*, const CLI::Error& error)
{
    return std::string("trelm: ") + error.what() + " (see trelm --help)\n";
}

void addGlobalOptions(CLI::App& app, GlobalOptions& options)
{
    app.add_option("--threads", options.threads,
                   "worker threads (default: one per hardware thread)")
        ->check(CLI::Range(1, 256));
    app.add_flag("-q,--quiet", options.quiet, "no progress bar and no summary lines");
    app.add_flag("-v,--verbose", options.verbose,
                 "show the library's timing and diagnostic lines on stderr");
}

// The first word that is not a global option must name a subcommand; CLI11 alone would report a
// misspelt one as a missing subcommand, which does not tell the user what went wrong.
bool reportUnknownCommand(CLI::App& app, int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string word = argv[i];
        if (word == "--threads")
            ++i;
        else if (!word.empty() && word[0] != '-')
        {
            const auto named = app.get_subcommands([&word](const CLI::App* command)
                                                   { return command->get_name() == word; });
            if (!named.empty())
                return false;
            std::fprintf(stderr, "trelm: '%s' is not a trelm command (see trelm --help)\n",
                         word.c_str());
            return true;
        }
    }
    return false;
}

void applyGlobalOptions(const GlobalOptions& options)
{
    if (options.threads > 0)
        oxUtil::ThreadPool::get().setNumThreads(options.threads);
    if (options.verbose)
    {
        oxGeom::debugChannel().setFile(stderr);
        oxGeom::debugChannel().enable();
    }
    // The library's notices go to stderr, keeping stdout for results (and --json); its info
    // lines narrate the work step by step, which only --verbose asks to see.
    oxOS::AppOutput& output = oxOS::AppOutput::getInstance();
    output.setInfoFile(options.verbose ? stderr : nullptr);
    output.setErrorFile(stderr);
}

int runAction(Session& session)
{
    try
    {
        return session.action();
    }
    catch (const ToolError& error)
    {
        std::fflush(stdout);
        std::fprintf(stderr, "trelm: %s\n", error.what());
        return error.status();
    }
    catch (const std::bad_alloc&)
    {
        std::fprintf(stderr, "trelm: out of memory\n");
        return ExitFailure;
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "trelm: %s\n", error.what());
        return ExitFailure;
    }
}
}  // namespace

int main(int argc, char** argv)
{
    Session session;
    CLI::App app{
        "Measure, repair, query, render and flatten triangle meshes with the Trelm "
        "library.",
        "trelm"};
    app.set_version_flag("--version", "trelm " TRELM_VERSION);
    app.footer(exitStatusNote);
    app.failure_message(oneLineFailure);
    app.require_subcommand(1);
    app.fallthrough();  // global options may also follow the subcommand
    addGlobalOptions(app, session.options);

    addInfoCommand(app, session);
    addWeldCommand(app, session);
    addCleanCommand(app, session);
    addNormalsCommand(app, session);
    addCurvatureCommand(app, session);
    addClosestCommand(app, session);
    addRaycastCommand(app, session);
    addRenderCommand(app, session);
    addFlattenCommand(app, session);
    addPackCommand(app, session);
    addMergeCommand(app, session);
    addConvertCommand(app, session);

    if (reportUnknownCommand(app, argc, argv))
        return ExitFailure;
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        const int status = app.exit(error);
        return status == 0 ? ExitSuccess : ExitFailure;
    }
    if (!session.action)
        return ExitFailure;
    applyGlobalOptions(session.options);
    return runAction(session);
}
