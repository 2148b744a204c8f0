// One fuzz input through one reader: the bytes go to an in-memory file (memfd) so that the
// readers run their real path-based code without touching the disk, then the outcome is checked
// against the readers' contract (whole success with a valid mesh, or one-line failure with the
// caller's mesh untouched).

#include "fuzzEntry.h"

#include <meshFiles.h>
#include <oxGeom/CompactMesh.h>
#include <oxGeom/TopoMesh.h>
#include <oxGeom/meshRead.h>
#include <oxGeom/meshVerify.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace trelmfuzz
{
namespace
{
/// The process's scratch file: one memfd, rewritten for every input.
class MemoryFile
{
public:
    MemoryFile() : m_fd(::memfd_create("trelm-fuzz", MFD_CLOEXEC))
    {
        if (m_fd < 0)
            std::abort();
        m_path = "/proc/self/fd/" + std::to_string(m_fd);
    }
    ~MemoryFile() { ::close(m_fd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    /// Replaces the content with `size` bytes; returns the path that opens it.
    const std::string& write(const std::uint8_t* data, std::size_t size)
    {
        if (::ftruncate(m_fd, 0) != 0)
            std::abort();
        std::size_t done = 0;
        while (done < size)
        {
            const ssize_t got = ::pwrite(m_fd, data + done, size - done, off_t(done));
            if (got <= 0)
                std::abort();
            done += std::size_t(got);
        }
        return m_path;
    }

private:
    int m_fd;
    std::string m_path;
};

MemoryFile& scratchFile()
{
    static MemoryFile file;
    return file;
}

/// A small mesh that a failed read must leave exactly as it was.
oxGeom::CompactMesh sentinelMesh()
{
    const oxGeom::MeshVertex vertices[3] = {{{1.5f, 0, 0}}, {{0, 2.5f, 0}}, {{0, 0, -3.5f}}};
    oxGeom::CompactMesh mesh(3, vertices, nullptr, nullptr, nullptr);
    const int triangle[3] = {0, 2, 1};
    mesh.copyTriangles(1, triangle);
    return mesh;
}

bool sameAsSentinel(const oxGeom::CompactMesh& mesh)
{
    const oxGeom::CompactMesh sentinel = sentinelMesh();
    return mesh.getNumVertices() == sentinel.getNumVertices() &&
           mesh.getNumTriangles() == sentinel.getNumTriangles() &&
           std::memcmp(mesh.getVerticesRaw(), sentinel.getVerticesRaw(), 9 * sizeof(float)) == 0 &&
           std::memcmp(mesh.getTrianglesRaw(), sentinel.getTrianglesRaw(), 3 * sizeof(int)) == 0;
}

/// Empty when `message` is one non-empty line, else what is wrong with it.
std::string checkMessage(const std::string& message)
{
    if (message.empty())
        return "failed read gave no message";
    if (message.find('\n') != std::string::npos)
        return "failure message spans several lines: " + message;
    return {};
}

std::string checkFormatRead(trelm::files::MeshFormat format, const std::string& path)
{
    oxGeom::CompactMesh mesh = sentinelMesh();
    const trelm::files::FileResult result = trelm::files::readMesh(path, format, mesh);
    if (!result.ok)
    {
        if (!sameAsSentinel(mesh))
            return "failed read changed the mesh: " + result.message;
        return checkMessage(result.message);
    }
    const oxGeom::MeshVerifyReport report = oxGeom::meshVerify(mesh);
    if (!report.ok())
        return "read succeeded with an invalid mesh: " + report.describe();
    return {};
}

/// The binary STL reader is chosen by file size: make the count field agree with the input's
/// length (cut to whole 50-byte records) so that the fuzzer spends its time inside that reader.
std::vector<std::uint8_t> asBinaryStl(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::uint8_t> bytes(data, data + size);
    if (size < 84)
        return bytes;
    const std::size_t count = (size - 84) / 50;
    bytes.resize(84 + 50 * count);
    for (int k = 0; k < 4; ++k)
        bytes[80 + std::size_t(k)] = std::uint8_t(count >> (8 * k));
    return bytes;
}

std::string checkTopoMesh(const oxGeom::TopoMesh& mesh)
{
    for (int f = 0; f < mesh.numFaces(); ++f)
        if (mesh.faceSize(f) < 3)
            return "face " + std::to_string(f) + " has fewer than 3 corners";
    for (int e = 0; e < mesh.numEdges(); ++e)
    {
        const oxGeom::TopoMeshEdge edge = mesh.edge(e);
        const oxGeom::TopoMeshEdge twin = edge.twin();
        if (twin.isNull())
            continue;
        if (twin.twin().index() != e || twin.origin().index() != edge.destination().index() ||
            twin.destination().index() != edge.origin().index())
            return "half-edge " + std::to_string(e) + " and its twin do not match";
    }
    return {};
}

std::string checkMeshRead(const std::string& path)
{
    oxGeom::CompactMesh mesh = sentinelMesh();
    std::string error;
    if (!oxGeom::meshRead(mesh, oxOS::Filename(path), &error))
    {
        if (!sameAsSentinel(mesh))
            return "failed meshRead changed the mesh: " + error;
        if (std::string problem = checkMessage(error); !problem.empty())
            return problem;
    }
    else if (oxGeom::MeshVerifyReport report = oxGeom::meshVerify(mesh); !report.ok())
    {
        // meshRead takes "inf" and "nan" as coordinates by design (it reads what meshWrite
        // wrote); every other fault is one.
        report.nonFiniteVertices = 0;
        report.firstNonFiniteVertex = -1;
        if (!report.ok())
            return "meshRead succeeded with an invalid mesh: " + report.describe();
    }

    oxGeom::TopoMesh topo;
    std::string topoError;
    if (!oxGeom::meshRead(topo, oxOS::Filename(path), &topoError))
    {
        if (topo.numVertices() != 0 || topo.numFaces() != 0)
            return "failed meshRead (TopoMesh) appended to the mesh: " + topoError;
        return checkMessage(topoError);
    }
    return checkTopoMesh(topo);
}
}  // namespace

const char* targetName(Target target)
{
    switch (target)
    {
        case Target::Obj:
            return "obj";
        case Target::PlyAscii:
            return "ply_ascii";
        case Target::PlyBinary:
            return "ply_binary";
        case Target::StlAscii:
            return "stl_ascii";
        case Target::StlBinary:
            return "stl_binary";
        case Target::Off:
            return "off";
        case Target::Text:
            return "text";
        case Target::MeshRead:
            return "meshread";
    }
    return "unknown";
}

std::string checkInput(Target target, const std::uint8_t* data, std::size_t size)
{
    using trelm::files::MeshFormat;
    MemoryFile& file = scratchFile();
    switch (target)
    {
        case Target::Obj:
            return checkFormatRead(MeshFormat::Obj, file.write(data, size));
        case Target::PlyAscii:
        case Target::PlyBinary:
            return checkFormatRead(MeshFormat::Ply, file.write(data, size));
        case Target::StlAscii:
            return checkFormatRead(MeshFormat::Stl, file.write(data, size));
        case Target::StlBinary:
        {
            const std::vector<std::uint8_t> bytes = asBinaryStl(data, size);
            return checkFormatRead(MeshFormat::Stl, file.write(bytes.data(), bytes.size()));
        }
        case Target::Off:
            return checkFormatRead(MeshFormat::Off, file.write(data, size));
        case Target::Text:
            return checkFormatRead(MeshFormat::Text, file.write(data, size));
        case Target::MeshRead:
            return checkMeshRead(file.write(data, size));
    }
    return "unknown target";
}
}  // namespace trelmfuzz
