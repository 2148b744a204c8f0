// Shared pieces of the trelm subcommands: console output that honours --quiet, mesh input and
// output through the file formats library with the tool's exit statuses, and locale-free
// parsing of the numbers given on the command line and in point and ray files.

#include "cliCommon.h"

#include <oxGeom/meshVerify.h>

#include "progressBar.h"

#include <meshFiles.h>

#include <CLI/CLI.hpp>

#include <unistd.h>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <fstream>
#include <iostream>

namespace trelm::cli
{
namespace
{
// Splits `text` at blanks and commas and parses every piece as a finite double.
bool parseAll(const std::string& text, std::vector<double>& values)
{
    values.clear();
    const char* p = text.data();
    const char* end = p + text.size();
    while (p < end)
    {
        while (p < end && (*p == ' ' || *p == '\t' || *p == ',' || *p == '\r'))
            ++p;
        if (p == end)
            break;
        if (*p == '+')  // from_chars takes no plus sign; people write one
            ++p;
        double value = 0.0;
        const auto result = std::from_chars(p, end, value);
        if (result.ec != std::errc() || !std::isfinite(value))
            return false;
        const char* next = result.ptr;
        if (next < end && *next != ' ' && *next != '\t' && *next != ',' && *next != '\r')
            return false;
        values.push_back(value);
        p = next;
    }
    return true;
}

void vprintTo(std::FILE* stream, const char* format, va_list arguments)
{
    std::vfprintf(stream, format, arguments);
    std::fflush(stream);
}
}  // namespace

void Session::say(const char* format, ...) const
{
    if (options.quiet)
        return;
    va_list arguments;
    va_start(arguments, format);
    vprintTo(stdout, format, arguments);
    va_end(arguments);
}

std::unique_ptr<CommandProgress> Session::makeProgress() const
{
    return std::make_unique<CommandProgress>(!options.quiet && isatty(STDERR_FILENO) != 0);
}

void setAction(CLI::App& command, Session& session, std::function<int()> run)
{
    command.callback([&session, run]() { session.action = run; });
}

oxGeom::CompactMesh loadMesh(const std::string& path, CommandProgress& progress)
{
    oxGeom::CompactMesh mesh;
    trelm::files::ReadOptions options;
    options.progress = &progress.stage("Reading");
    const trelm::files::FileResult result = trelm::files::readMesh(path, mesh, options);
    progress.throwIfInterrupted();
    if (!result.ok)
        throw ToolError(ExitBadInput, result.message);
    // The readers check what they parse; this pass is the library's own word that every
    // algorithm the commands run may trust the mesh (indices in range, finite positions).
    const oxGeom::MeshVerifyReport report = oxGeom::meshVerify(mesh);
    if (!report.ok())
        throw ToolError(ExitBadInput, path + ": " + report.describe());
    return mesh;
}

void checkMeshOutputPath(const std::string& path)
{
    if (!trelm::files::formatFromPath(path))
        throw ToolError(ExitFailure, path +
                                         ": unknown mesh file extension (use .obj, .ply, "
                                         ".stl, .off or .trelm)");
}

void saveMesh(const std::string& path, const oxGeom::CompactMesh& mesh, const SaveOptions& options,
              CommandProgress& progress)
{
    progress.throwIfInterrupted();
    trelm::files::WriteOptions writeOptions;
    writeOptions.encoding =
        options.ascii ? trelm::files::Encoding::Ascii : trelm::files::Encoding::Binary;
    writeOptions.progress = &progress.stage("Writing");
    const trelm::files::FileResult result = trelm::files::writeMesh(path, mesh, writeOptions);
    progress.throwIfInterrupted();
    if (!result.ok)
        throw ToolError(ExitFailure, result.message);
}

bool parseNumbers(const std::string& text, int count, double* values)
{
    std::vector<double> parsed;
    if (!parseAll(text, parsed) || static_cast<int>(parsed.size()) != count)
        return false;
    std::copy(parsed.begin(), parsed.end(), values);
    return true;
}

std::vector<std::vector<double>> readNumberLines(const std::string& path, int count)
{
    std::ifstream file;
    std::istream* input = &std::cin;
    const std::string name = path == "-" ? std::string("<stdin>") : path;
    if (path != "-")
    {
        file.open(path);
        if (!file)
            throw ToolError(ExitBadInput, path + ": " + std::strerror(errno));
        input = &file;
    }
    std::vector<std::vector<double>> lines;
    std::string line;
    std::vector<double> values;
    for (int lineNumber = 1; std::getline(*input, line); ++lineNumber)
    {
        const std::size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#')
            continue;
        if (!parseAll(line, values) || static_cast<int>(values.size()) != count)
            throw ToolError(ExitBadInput, name + ": line " + std::to_string(lineNumber) +
                                              ": expected " + std::to_string(count) +
                                              " finite numbers");
        lines.push_back(values);
    }
    if (input->bad())
        throw ToolError(ExitBadInput, name + ": read error");
    return lines;
}

std::string formatNumber(double value)
{
    char text[32];
    for (int precision = 6; precision <= 17; ++precision)
    {
        std::snprintf(text, sizeof text, "%.*g", precision, value);
        if (std::strtod(text, nullptr) == value)
            break;
    }
    return text;
}
}  // namespace trelm::cli
