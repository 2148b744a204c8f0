#pragma once
// Support for the trelm tool's end-to-end tests: running the built program and capturing what it
// prints, scratch directories, the test meshes, reading back PNG pictures and JSON output.

#include <oxGeom/CompactMesh.h>

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace clitest
{
/// What one run of the tool did.
struct RunResult
{
    int status = -1;  ///< exit status; -1 when the process did not exit normally
    int signal = 0;   ///< the signal that ended it, if one did
    std::string out;  ///< everything written to stdout
    std::string err;  ///< everything written to stderr
};

/// Runs the tool with `args` (not including the program name), `input` on its stdin, and waits.
RunResult runTrelm(const std::vector<std::string>& args, const std::string& input = "");

/// Starts the tool with `args`, its stdout and stderr going to the named files; returns its pid.
pid_t startTrelm(const std::vector<std::string>& args, const std::string& outPath,
                 const std::string& errPath);
/// Waits for a process started by startTrelm; fills status and signal (not the texts).
RunResult waitTrelm(pid_t pid);

/// A fresh directory under the system's temporary directory, removed with its files.
class ScratchDir
{
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    /// `name` inside the directory.
    std::string path(const std::string& name) const { return m_path + "/" + name; }
    /// The names of the files in the directory, sorted.
    std::vector<std::string> files() const;

private:
    std::string m_path;
};

/// The bundled bunny.
std::string bunnyPath();
/// A file of Debian's assimp-testmodels (`relative`, e.g. "PLY/Wuson.ply"), or the empty
/// string when the package is not installed.
std::string assimpModel(const std::string& relative);

/// The lines of `text` (without their newlines; a last line without one counts).
std::vector<std::string> lines(const std::string& text);
bool fileExists(const std::string& path);
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);

/// Reads a mesh with the formats library; the test fails (and the mesh is empty) if it cannot.
oxGeom::CompactMesh readMesh(const std::string& path);
/// Writes a mesh with the formats library, failing the test if it cannot.
void writeMesh(const std::string& path, const oxGeom::CompactMesh& mesh);
/// A mesh from packed positions and index triples.
oxGeom::CompactMesh makeMesh(const std::vector<float>& xyz, const std::vector<int>& corners);

/// An 8-bit RGBA picture read back from a PNG file.
struct Picture
{
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgba;

    const std::uint8_t* pixel(int x, int y) const
    {
        return rgba.data() + (std::size_t(y) * std::size_t(width) + std::size_t(x)) * 4u;
    }
};
/// Reads `path` as RGBA; false when it is not a readable PNG.
bool readPng(const std::string& path, Picture& picture);

/// A parsed JSON value (just what the tests need: no escapes beyond \" \\ \n \t \uXXXX).
struct Json
{
    enum Kind
    {
        Null,
        Bool,
        Number,
        String,
        Array,
        Object
    } kind = Null;
    bool boolean = false;
    double number = 0.0;
    std::string text;
    std::vector<Json> items;
    std::map<std::string, Json> members;

    /// Member `name` of an object; a static null for anything else.
    const Json& operator[](const std::string& name) const;
    /// Item `i` of an array; a static null when out of range.
    const Json& operator[](std::size_t i) const;
    bool isNull() const { return kind == Null; }
};
/// Parses a complete JSON document; throws std::runtime_error when it is malformed.
Json parseJson(const std::string& text);
}  // namespace clitest
