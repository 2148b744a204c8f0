#pragma once
// What every trelm subcommand shares: the exit statuses, the error that ends a command with one
// of them, the global options, loading and saving meshes through the file formats library, and
// parsing of the numbers given on the command line or in point and ray files.

#include <oxGeom/CompactMesh.h>
#include <oxString/CString.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace trelm::cli
{
class CommandProgress;

/// Exit statuses of the tool.
enum ExitStatus : int
{
    ExitSuccess = 0,
    ExitFailure = 1,       ///< anything else: bad arguments, unwritable output, failed operation
    ExitBadInput = 2,      ///< an input file that cannot be read or is malformed
    ExitInterrupted = 130  ///< Ctrl-C (128 + SIGINT, as shells report it)
};

/// Ends a command: main prints "trelm: <message>" on one line and exits with `status`.
class ToolError : public std::runtime_error
{
public:
    ToolError(ExitStatus status, const std::string& message)
        : std::runtime_error(message), m_status(status)
    {
    }
    ExitStatus status() const { return m_status; }

private:
    ExitStatus m_status;
};

/// Options of the program itself, given before or after the subcommand.
struct GlobalOptions
{
    int threads = 0;       ///< pool size; 0 keeps one thread per hardware thread
    bool quiet = false;    ///< no progress bar, no summary lines on stdout
    bool verbose = false;  ///< the library's debug channel on stderr
};

/// The state one run of the program shares with the chosen subcommand.
class Session
{
public:
    GlobalOptions options;
    /// Set by the chosen subcommand's parse callback; main runs it after parsing.
    std::function<int()> action;

    /// printf to stdout unless --quiet (summaries, not machine-read results).
    void say(const char* format, ...) const OX_PRINTF_FORMAT(2, 3);

    /// A progress tree for the command, with a bar when stderr is a terminal and not --quiet.
    std::unique_ptr<CommandProgress> makeProgress() const;
};

/// Registers `run` as the action of `command` (called when it is chosen): the usual end of
/// every add...Command function.
void setAction(CLI::App& command, Session& session, std::function<int()> run);

/// Reads the mesh at `path` (format from the extension). A file that cannot be read, or is
/// malformed, ends the command with ExitBadInput and the reader's one-line message.
/// Ctrl-C during the read ends the command with ExitInterrupted.
oxGeom::CompactMesh loadMesh(const std::string& path, CommandProgress& progress);

/// How a mesh is written.
struct SaveOptions
{
    bool ascii = false;  ///< text form for formats that have both (PLY, STL)
};

/// Writes `mesh` to `path` (format from the extension), publishing the file only when it is
/// complete. Ends the command with ExitInterrupted when `progress` was interrupted (before
/// anything is written), and with ExitFailure and the writer's message when writing fails.
void saveMesh(const std::string& path, const oxGeom::CompactMesh& mesh, const SaveOptions& options,
              CommandProgress& progress);

/// Ends the command with ExitFailure unless the extension of `path` names a mesh format the
/// tool writes; called before the work so that a typo costs nothing.
void checkMeshOutputPath(const std::string& path);

/// Parses "x,y,z" (commas or blanks between the numbers; `count` numbers) into `values`.
/// Returns false for anything else, including non-finite numbers.
bool parseNumbers(const std::string& text, int count, double* values);

/// Reads lines of `count` numbers each (separated by blanks or commas; empty lines and lines
/// starting with '#' are skipped) from `path`, "-" meaning stdin. A line that does not hold
/// exactly `count` finite numbers ends the command with ExitBadInput naming the file and line.
std::vector<std::vector<double>> readNumberLines(const std::string& path, int count);

/// The shortest decimal text that reads back as the same double ("%.17g" trimmed to the
/// shortest exact form), for results other programs parse.
std::string formatNumber(double value);
}  // namespace trelm::cli
