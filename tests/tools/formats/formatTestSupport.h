#pragma once
// Helpers shared by the mesh file format tests: a scratch directory per test, raw file bytes, the
// test models of the assimp-testmodels package, and mesh comparisons that serve as oracles.

#include <meshFiles.h>

#include <oxGeom/CompactMesh.h>

#include <gtest/gtest.h>

#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace formatTests
{
namespace fs = std::filesystem;

/// A fresh directory, removed with its content: in memory (/dev/shm) where there is one, since
/// some tests write thousands of small files, else under the system's temporary directory.
class ScratchDir
{
public:
    ScratchDir()
    {
        std::error_code error;
        const bool inMemory =
            fs::is_directory("/dev/shm", error) && ::access("/dev/shm", W_OK) == 0;
        const fs::path base = inMemory ? fs::path("/dev/shm") : fs::temp_directory_path();
        std::string pattern = (base / "trelm-formats-XXXXXX").string();
        m_path = ::mkdtemp(pattern.data()) ? pattern : std::string();
    }
    ~ScratchDir()
    {
        std::error_code ignored;
        fs::permissions(m_path, fs::perms::owner_all, fs::perm_options::add, ignored);
        fs::remove_all(m_path, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    std::string file(const std::string& name) const { return m_path + "/" + name; }
    const std::string& path() const { return m_path; }

    /// Names of the entries of the directory, hidden ones included, sorted.
    std::vector<std::string> entries() const
    {
        std::vector<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(m_path))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::string m_path;
};

inline void writeBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string readBytes(const std::string& path)
{
    std::stringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

/// The directory of the assimp-testmodels package, or empty when it is not installed.
inline std::string assimpModels()
{
    return TRELM_ASSIMP_MODELS_DIR;
}

#define SKIP_WITHOUT_ASSIMP_MODELS()         \
    if (formatTests::assimpModels().empty()) \
    GTEST_SKIP() << "assimp-testmodels is not installed"

/// Binary data in a chosen byte order, whatever the host's is.
class Bytes
{
public:
    explicit Bytes(bool bigEndian) : m_bigEndian(bigEndian) {}

    template <typename T>
    Bytes& put(T value)
    {
        static_assert(sizeof(T) <= 8, "scalars only");
        std::uint64_t bits = 0;
        if constexpr (std::is_floating_point_v<T>)
        {
            if constexpr (sizeof(T) == 4)
            {
                std::uint32_t narrow;
                std::memcpy(&narrow, &value, 4);
                bits = narrow;
            }
            else
                std::memcpy(&bits, &value, 8);
        }
        else
            bits = static_cast<std::uint64_t>(static_cast<std::make_unsigned_t<T>>(value));
        for (std::size_t k = 0; k < sizeof(T); ++k)
        {
            const std::size_t shift = m_bigEndian ? sizeof(T) - 1 - k : k;
            m_data += static_cast<char>((bits >> (8 * shift)) & 0xff);
        }
        return *this;
    }

    const std::string& str() const { return m_data; }

private:
    bool m_bigEndian;
    std::string m_data;
};

/// Reads `path` as `format` into a fresh mesh; fails the test when the read fails.
inline oxGeom::CompactMesh readOrFail(const std::string& path, trelm::files::MeshFormat format,
                                      const trelm::files::ReadOptions& options = {})
{
    oxGeom::CompactMesh mesh;
    const trelm::files::FileResult result = trelm::files::readMesh(path, format, mesh, options);
    EXPECT_TRUE(result.ok) << result.message;
    return mesh;
}

/// The read of `bytes` as `format` fails; returns its message (checked to be one line that names
/// the file).
inline std::string failureOf(const ScratchDir& dir, const std::string& bytes,
                             trelm::files::MeshFormat format)
{
    const std::string path = dir.file("input");
    writeBytes(path, bytes);
    oxGeom::CompactMesh mesh;
    const trelm::files::FileResult result = trelm::files::readMesh(path, format, mesh);
    EXPECT_FALSE(result.ok) << "accepted:\n" << bytes;
    EXPECT_EQ(result.message.find('\n'), std::string::npos) << result.message;
    EXPECT_EQ(result.message.rfind(path + ": ", 0), 0u) << result.message;
    return result.ok ? std::string() : result.message.substr(path.size() + 2);
}

/// Reads `bytes` as `format`, failing the test when the read fails.
inline oxGeom::CompactMesh meshOf(const ScratchDir& dir, const std::string& bytes,
                                  trelm::files::MeshFormat format,
                                  const trelm::files::ReadOptions& options = {})
{
    const std::string path = dir.file("input");
    writeBytes(path, bytes);
    return readOrFail(path, format, options);
}

inline std::vector<float> positionsOf(const oxGeom::CompactMesh& mesh)
{
    const float* p = mesh.getVerticesRaw();
    return std::vector<float>(p, p + 3 * std::size_t(mesh.getNumVertices()));
}

inline std::vector<int> trianglesOf(const oxGeom::CompactMesh& mesh)
{
    const int* t = mesh.getTrianglesRaw();
    return std::vector<int>(t, t + 3 * std::size_t(mesh.getNumTriangles()));
}

inline std::vector<float> channelOf(const float* values, int count, int dimension)
{
    return values ? std::vector<float>(values, values + std::size_t(count) * dimension)
                  : std::vector<float>();
}

/// Same positions (bitwise, as float ==) and the same triangles in the same order.
inline void expectSameIndexedMesh(const oxGeom::CompactMesh& expected,
                                  const oxGeom::CompactMesh& actual)
{
    EXPECT_EQ(positionsOf(expected), positionsOf(actual));
    EXPECT_EQ(trianglesOf(expected), trianglesOf(actual));
}

/// The corner positions of triangle t, in order: the mesh's geometry without its numbering.
using Corner = std::tuple<float, float, float>;
inline std::vector<Corner> triangleCorners(const oxGeom::CompactMesh& mesh)
{
    std::vector<Corner> corners;
    const float* p = mesh.getVerticesRaw();
    for (int index : trianglesOf(mesh))
        corners.emplace_back(p[3 * index], p[3 * index + 1], p[3 * index + 2]);
    return corners;
}

/// The number of distinct positions the triangles use.
inline std::size_t distinctCornerPositions(const oxGeom::CompactMesh& mesh)
{
    std::vector<Corner> corners = triangleCorners(mesh);
    std::sort(corners.begin(), corners.end());
    return static_cast<std::size_t>(std::unique(corners.begin(), corners.end()) - corners.begin());
}

/// A seeded mesh whose floats exercise the number formats (negative, subnormal, huge, zeros of
/// both signs, full 9-digit mantissas) with every vertex used by some triangle; at least 3
/// vertices and numVertices triangles.
inline oxGeom::CompactMesh awkwardMesh(std::uint32_t seed, int numVertices, int numTriangles)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    std::uniform_int_distribution<int> exponent(-40, 38);
    const float specials[] = {0.0f, -0.0f, 1e-45f, -1e-40f, 3.4028235e38f, 0.1f, 1.0f / 3.0f};
    numVertices = std::max(numVertices, 3);
    numTriangles = std::max(numTriangles, numVertices);
    std::vector<float> positions(3 * std::size_t(numVertices));
    for (float& value : positions)
    {
        const int kind = static_cast<int>(random() % 8);
        value = kind == 0
                    ? specials[random() % 7]
                    : unit(random) * std::pow(10.0f, static_cast<float>(exponent(random) / 4));
    }
    std::vector<int> triangles(3 * std::size_t(numTriangles));
    for (int t = 0; t < numTriangles; ++t)
        for (int k = 0; k < 3; ++k)
            triangles[3 * std::size_t(t) + k] =
                t < numVertices ? (t + k) % numVertices : static_cast<int>(random() % numVertices);
    oxGeom::CompactMesh mesh;
    mesh.copyVertices(numVertices, positions.data());
    mesh.copyTriangles(numTriangles, triangles.data());
    return mesh;
}
}  // namespace formatTests
