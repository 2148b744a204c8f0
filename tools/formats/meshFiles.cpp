// Entry points of the mesh file formats: picks the format, runs its reader into a scratch mesh
// or its writer into a temporary file, and turns whatever went wrong into one line naming the
// file and the place. Readers and writers signal problems by throwing FileError, so that the
// many checks of a parser stay one line each and no partial result can escape.

#include "meshFiles.h"

#include "FileIO.h"
#include "meshFormats.h"

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>

namespace trelm::files
{
namespace
{
using detail::FileError;
using detail::Place;

struct FormatNames
{
    MeshFormat format;
    const char* extension;
    const char* name;
};

constexpr FormatNames formats[] = {
    {MeshFormat::Obj, "obj", "obj"},     {MeshFormat::Ply, "ply", "ply"},
    {MeshFormat::Stl, "stl", "stl"},     {MeshFormat::Off, "off", "off"},
    {MeshFormat::Text, "trelm", "text"},
};

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [](char x, char y) {
                                                  return (x >= 'A' && x <= 'Z' ? x + 32 : x) ==
                                                         (y >= 'A' && y <= 'Z' ? y + 32 : y);
                                              });
}

// The path as shown in a message: control bytes would break the message's single line.
std::string printablePath(const std::string& path)
{
    std::string shown = path;
    for (char& c : shown)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    return shown;
}

FileResult failure(const std::string& path, const std::string& what)
{
    return FileResult{false, printablePath(path) + ": " + what};
}

FileResult failure(const std::string& path, const FileError& error, const char* data)
{
    std::string place;
    if (error.place == Place::Byte)
        place = "byte " + std::to_string(error.offset) + ": ";
    else if (error.place == Place::Line && data)
        place = "line " + std::to_string(detail::lineOfOffset(data, error.offset)) + ": ";
    return failure(path, place + error.what);
}

void readBytes(detail::ReadContext& context, MeshFormat format, oxGeom::CompactMesh& mesh)
{
    switch (format)
    {
        case MeshFormat::Obj:
            return detail::readObj(context, mesh);
        case MeshFormat::Ply:
            return detail::readPly(context, mesh);
        case MeshFormat::Stl:
            return detail::readStl(context, mesh);
        case MeshFormat::Off:
            return detail::readOff(context, mesh);
        case MeshFormat::Text:
            break;
    }
    detail::failFile("unknown mesh format");
}

// Hands the new mesh to the caller in one step. A swap moves no data, but it would also hand
// over the scratch mesh's (default) array allocator, so a mesh with an allocator of its own is
// assigned instead, which copies the arrays into its allocator.
void publish(oxGeom::CompactMesh& scratch, oxGeom::CompactMesh& out)
{
    if (out.getArrayAllocator())
        out = scratch;
    else
        out.swap(scratch);
}

// The first triangle index outside [0, vertices), as a message, or an empty string.
std::string findBadIndex(const oxGeom::CompactMesh& mesh)
{
    const int vertices = mesh.getNumVertices();
    const int* indices = mesh.getTrianglesRaw();
    const std::size_t count = 3 * static_cast<std::size_t>(mesh.getNumTriangles());
    for (std::size_t i = 0; i < count; ++i)
        if (indices[i] < 0 || indices[i] >= vertices)
            return "triangle " + std::to_string(i / 3) + " has vertex index " +
                   std::to_string(indices[i]) + " out of range (" + std::to_string(vertices) +
                   " vertices)";
    return std::string();
}

void writeFile(detail::OutputFile& file, MeshFormat format, const oxGeom::CompactMesh& mesh,
               const WriteOptions& options)
{
    switch (format)
    {
        case MeshFormat::Obj:
            return detail::writeObj(file, mesh);
        case MeshFormat::Ply:
            return detail::writePly(file, mesh, options);
        case MeshFormat::Stl:
            return detail::writeStl(file, mesh, options);
        case MeshFormat::Off:
            return detail::writeOff(file, mesh);
        case MeshFormat::Text:
            return detail::writeText(file, mesh);
    }
    detail::failFile("unknown mesh format");
}

std::string unknownExtension()
{
    return "unknown mesh file extension (expected .obj, .ply, .stl, .off or .trelm)";
}
}  // namespace

std::optional<MeshFormat> formatFromPath(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos)
        return std::nullopt;
    const std::string_view extension = name.substr(dot + 1);
    for (const FormatNames& entry : formats)
        if (equalsIgnoringCase(extension, entry.extension))
            return entry.format;
    return std::nullopt;
}

std::optional<MeshFormat> formatFromName(std::string_view name)
{
    for (const FormatNames& entry : formats)
        if (equalsIgnoringCase(name, entry.name) || equalsIgnoringCase(name, entry.extension))
            return entry.format;
    return std::nullopt;
}

const char* formatName(MeshFormat format)
{
    for (const FormatNames& entry : formats)
        if (entry.format == format)
            return entry.name;
    return "unknown";
}

FileResult readMesh(const std::string& path, MeshFormat format, oxGeom::CompactMesh& out,
                    const ReadOptions& options)
{
    std::unique_ptr<detail::FileBytes> bytes;
    try
    {
        oxGeom::CompactMesh scratch;
        if (format == MeshFormat::Text)
            detail::readText(path, options, scratch);
        else
        {
            bytes = std::make_unique<detail::FileBytes>(path);
            detail::ReadContext context(bytes->data(), bytes->size(), options);
            readBytes(context, format, scratch);
        }
        bytes.reset();
        publish(scratch, out);
        if (options.progress)
            options.progress->set(1.0);
        return FileResult{};
    }
    catch (const FileError& error)
    {
        return failure(path, error, bytes ? bytes->data() : nullptr);
    }
    catch (const std::bad_alloc&)
    {
        return failure(path, "not enough memory");
    }
    catch (const std::length_error&)
    {
        return failure(path, "not enough memory");
    }
}

FileResult readMesh(const std::string& path, oxGeom::CompactMesh& out, const ReadOptions& options)
{
    const std::optional<MeshFormat> format = formatFromPath(path);
    if (!format)
        return failure(path, unknownExtension());
    return readMesh(path, *format, out, options);
}

FileResult writeMesh(const std::string& path, MeshFormat format, const oxGeom::CompactMesh& mesh,
                     const WriteOptions& options)
{
    const std::string badIndex = findBadIndex(mesh);
    if (!badIndex.empty())
        return failure(path, badIndex);
    try
    {
        detail::OutputFile file(path, options.progress);
        writeFile(file, format, mesh, options);
        file.commit();
        return FileResult{};
    }
    catch (const FileError& error)
    {
        return failure(path, error, nullptr);
    }
    catch (const std::bad_alloc&)
    {
        return failure(path, "not enough memory");
    }
}

FileResult writeMesh(const std::string& path, const oxGeom::CompactMesh& mesh,
                     const WriteOptions& options)
{
    const std::optional<MeshFormat> format = formatFromPath(path);
    if (!format)
        return failure(path, unknownExtension());
    return writeMesh(path, *format, mesh, options);
}
}  // namespace trelm::files
