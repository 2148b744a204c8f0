#pragma once
// Progress display and Ctrl-C handling for the trelm tool: one progress tree per command, whose
// reports draw a bar on stderr when stderr is a terminal, and whose root is cancelled by
// SIGINT, so the library's long operations and the tool's own loops stop at their next poll.

#include <oxUtil/Progress.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>

namespace trelm::cli
{
/// The progress of one command.
///
/// Construction installs a SIGINT handler that cancels root(); a second Ctrl-C while the first
/// is still being honoured restores the default action and ends the process at once (the
/// writers publish files by renaming a finished temporary, so even then no partial output is
/// left under the output's name). Destruction restores the previous handler and erases the bar.
///
/// The bar is drawn only when `show` is true (the caller passes "stderr is a terminal and not
/// --quiet"); it is redrawn at most every 50 ms or when the caption changes, as
/// "caption [=====>      ]  42%".
///
/// Only one CommandProgress may exist at a time (the signal handler addresses it).
/// Thread safety: root() may be reported to from pool threads, as oxUtil::Progress allows.
class CommandProgress
{
public:
    explicit CommandProgress(bool show);
    ~CommandProgress();
    CommandProgress(const CommandProgress&) = delete;
    CommandProgress& operator=(const CommandProgress&) = delete;

    /// The root of the command's progress tree (attach library phases with subPhase).
    oxUtil::Progress& root() { return m_root; }

    /// Starts a stage of the command: the bar restarts at 0 under `caption`. Returns the
    /// progress that the stage's library call reports to (it covers the whole bar and is
    /// cancelled with the root). The same object is handed out for every stage, so a stage's
    /// progress must not be used after the next stage has started.
    oxUtil::Progress& stage(const char* caption);

    /// True once Ctrl-C was pressed (or root() was cancelled otherwise).
    bool interrupted() const { return m_root.cancelled(); }

    /// Ends the command with the interrupted status when interrupted() is true. Commands call
    /// it after every long step and before writing any output.
    void throwIfInterrupted() const;

    /// Erases the bar line (before the command prints its results).
    void clear();

private:
    void draw(double fraction, const char* caption);

    oxUtil::Progress m_root;
    oxUtil::Progress m_stage;
    bool m_show;
    std::mutex m_drawMutex;
    std::chrono::steady_clock::time_point m_lastDraw;
    std::string m_lastCaption;
    bool m_drawn = false;
};
}  // namespace trelm::cli
