// meshCompact: welds checked against a pairwise == oracle (who is welded, which old
// vertex supplies the values, ascending key order, triangles through the map) in
// every key mode and thread count; the hand-built edge cases, the change notice
// and the exact diagnostic lines.

#include <oxGeom/meshCompact.h>

#include <oxGeom/MeshModification.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace
{
using oxGeom::CompactMesh;
using oxGeom::MeshModification;

// Keeps what the weld announced.
class RecordingMesh : public CompactMesh
{
public:
    explicit RecordingMesh(const CompactMesh& mesh) : CompactMesh(mesh) {}
    void modified(MeshModification& modification) override
    {
        ++notices;
        type = modification.getType();
        flags = modification.getFlags();
        remap = *modification.getRemap();
        CompactMesh::modified(modification);
    }
    int notices = 0;
    MeshModification::Type type = MeshModification::Geometry;
    unsigned flags = 0;
    oxGeom::MeshRemap remap;
};

struct Weld
{
    RecordingMesh mesh;
    oxGeom::Remap map;
    std::vector<int> mapValues() const
    {
        return {map.getData(), map.getData() + map.getDomainSize()};
    }
};

Weld weld(const CompactMesh& mesh)
{
    Weld result{RecordingMesh(mesh), oxGeom::Remap(3, 3)};
    oxUtil::Progress progress;
    oxGeom::meshCompact(result.mesh, progress, result.map);
    return result;
}

std::vector<float> floats(const float* values, int count)
{
    return values ? std::vector<float>(values, values + count) : std::vector<float>();
}

bool sameBits(const float* a, const float* b, int count)
{
    return std::memcmp(a, b, sizeof(float) * count) == 0;
}

// The arrays in the key, with their widths: normals only when explicit, UVs only with them.
using KeyArrays = std::vector<std::pair<const float*, int>>;
KeyArrays keyArrays(const CompactMesh& mesh)
{
    KeyArrays arrays{{mesh.getVerticesRaw(), 3}};
    if (mesh.getNormalsRaw() && !mesh.getNormalsComputed())
    {
        arrays.push_back({mesh.getNormalsRaw(), 3});
        if (mesh.getUVsRaw())
            arrays.push_back({mesh.getUVsRaw(), 2});
    }
    return arrays;
}

// -1, 0, 1 by the first key component that differs; 2 when unordered (NaN).
int keyOrder(const KeyArrays& key, int a, int b)
{
    for (auto [values, width] : key)
        for (int k = 0; k < width; ++k)
        {
            const float x = values[a * width + k], y = values[b * width + k];
            if (!(x == y))
                return x < y ? -1 : x > y ? 1 : 2;
        }
    return 0;
}

void expectWeldOf(const CompactMesh& before, const Weld& result)
{
    const CompactMesh& after = result.mesh;
    const int n = before.getNumVertices(), count = after.getNumVertices();
    ASSERT_EQ(result.map.getDomainSize(), n);
    ASSERT_EQ(result.map.getRangeSize(), count);
    const KeyArrays key = keyArrays(before);
    std::vector<int> lastMember(count, -1);
    for (int i = 0; i < n; ++i)
    {
        ASSERT_TRUE(result.map(i) >= 0 && result.map(i) < count) << i;
        lastMember[result.map(i)] = i;
        for (int j = i + 1; j < n; ++j)
            ASSERT_EQ(keyOrder(key, i, j) == 0, result.map(i) == result.map(j)) << i << ", " << j;
    }
    const bool explicitNormals = key.size() > 1;
    const KeyArrays newKey = keyArrays(after);
    for (int v = 0; v < count; ++v)
    {
        const int old = lastMember[v];
        ASSERT_GE(old, 0) << "new vertex " << v << " has no old one";
        EXPECT_TRUE(
            sameBits(after.getVerticesRaw() + 3 * v, before.getVerticesRaw() + 3 * old, 3) &&
            (!explicitNormals ||
             sameBits(after.getNormalsRaw() + 3 * v, before.getNormalsRaw() + 3 * old, 3)) &&
            (!before.getUVsRaw() ||
             sameBits(after.getUVsRaw() + 2 * v, before.getUVsRaw() + 2 * old, 2)))
            << "new vertex " << v;
        EXPECT_TRUE(v == 0 || keyOrder(newKey, v - 1, v) == -1) << "new vertex " << v;
    }
    for (int c = 0; c < 3 * before.getNumTriangles(); ++c)
        EXPECT_EQ(after.getTrianglesRaw()[c], result.map(before.getTrianglesRaw()[c]));
}

// Components drawn from {+0, -0, 1, 2.5} (normals and UVs from {0, 1}), so many alike.
CompactMesh coarseRandomMesh(std::uint32_t seed, int n, bool normals, bool uvs)
{
    std::mt19937 random(seed);
    const float values[] = {0.0f, -0.0f, 1.0f, 2.5f};
    CompactMesh mesh = fixtures::randomMesh(seed, n, n);
    auto fill = [&](float* p, int count, bool binary)
    {
        for (int c = 0; c < count; ++c)
            p[c] = binary ? float(random() % 2) : values[random() % 4];
    };
    fill(mesh.getVerticesRaw(), 3 * n, false);
    if (normals)
        fill(mesh.allocNormalArray()->v, 3 * n, true);
    if (uvs)
        fill(mesh.allocUVArray()->v, 2 * n, true);
    return mesh;
}

// Every corner its own vertex: corner k of triangle t becomes vertex 3t + k.
CompactMesh unweld(const CompactMesh& mesh)
{
    const int corners = 3 * mesh.getNumTriangles();
    std::vector<oxGeom::MeshVertex> positions;
    std::vector<int> triangles(corners);
    for (int c = 0; c < corners; ++c)
        positions.push_back(mesh.getVertices()[mesh.getTrianglesRaw()[c]]);
    std::iota(triangles.begin(), triangles.end(), 0);
    CompactMesh soup(corners, positions.data(), nullptr, nullptr, nullptr);
    soup.copyTriangles(corners / 3, triangles.data());
    return soup;
}
}  // namespace

TEST(meshCompact, matchesPairwiseOracleInEveryKeyModeAndThreadCount)
{
    // normals, computed, uvs
    const bool modes[][3] = {{false, false, false},
                             {true, false, false},
                             {true, false, true},
                             {true, true, true},
                             {false, false, true}};
    for (auto [normals, computed, uvs] : modes)
    {
        CompactMesh mesh = coarseRandomMesh(3, 500, normals, uvs);
        mesh.setNormalsComputed(computed);
        std::vector<float> firstVertices;
        std::vector<int> firstMap;
        for (int threads : testsupport::threadCounts)
        {
            testsupport::PoolThreads pool(threads);
            SCOPED_TRACE(testing::Message() << "normals " << normals << " computed " << computed
                                            << " uvs " << uvs << ", " << threads << " threads");
            const Weld result = weld(mesh);
            expectWeldOf(mesh, result);
            const std::vector<float> vertices =
                floats(result.mesh.getVerticesRaw(), 3 * result.mesh.getNumVertices());
            if (threads == 1)
                firstVertices = vertices, firstMap = result.mapValues();
            EXPECT_TRUE(vertices.size() == firstVertices.size() &&
                        sameBits(vertices.data(), firstVertices.data(), int(vertices.size())));
            EXPECT_EQ(result.mapValues(), firstMap);
        }
    }
}

TEST(meshCompact, unweldedMeshWeldsBackToTheSameGeometry)
{
    for (const CompactMesh& original : {fixtures::icosphere(2, 1.0f), fixtures::gridMesh(9, 4)})
        for (int threads : testsupport::threadCounts)
        {
            testsupport::PoolThreads pool(threads);
            const Weld result = weld(unweld(original));
            ASSERT_EQ(result.mesh.getNumVertices(), original.getNumVertices());
            ASSERT_EQ(result.mesh.getNumTriangles(), original.getNumTriangles());
            for (int c = 0; c < 3 * original.getNumTriangles(); ++c)
                ASSERT_TRUE(sameBits(result.mesh.getVertices()[result.mesh.getTrianglesRaw()[c]].v,
                                     original.getVertices()[original.getTrianglesRaw()[c]].v, 3))
                    << threads << " threads, corner " << c;
        }
}

TEST(meshCompact, normalsAndUVsKeepVerticesApartOnlyWhenNormalsAreExplicit)
{
    // 0 and 2 share a position; normals and UVs differ between them.
    const oxGeom::MeshVertex positions[] = {{{2, 0, 0}}, {{1, 0, 0}}, {{2, 0, 0}}};
    const oxGeom::MeshNormal normals[] = {{{0, 0, 1}}, {{0, 0, 1}}, {{0, 1, 0}}};
    const oxGeom::MeshNormal sameNormals[] = {{{0, 0, 1}}, {{0, 0, 1}}, {{0, 0, 1}}};
    const oxGeom::MeshUV uvs[] = {{{0.25f, 0}}, {{0, 0}}, {{0.75f, 1}}};
    EXPECT_EQ(weld(CompactMesh(3, positions, normals, nullptr, nullptr)).mesh.getNumVertices(), 3);
    EXPECT_EQ(weld(CompactMesh(3, positions, sameNormals, uvs, nullptr)).mesh.getNumVertices(), 3);

    CompactMesh computed(3, positions, normals, nullptr, nullptr);
    computed.setNormalsComputed(true);
    const Weld withComputed = weld(computed);
    EXPECT_EQ(withComputed.mapValues(), (std::vector<int>{1, 0, 1}));
    EXPECT_FALSE(withComputed.mesh.flags & MeshModification::NormalsModifiedFlag);

    // UVs without normals: welded, the higher old index's UV survives.
    const Weld withUVs = weld(CompactMesh(3, positions, nullptr, uvs, nullptr));
    EXPECT_EQ(withUVs.mapValues(), (std::vector<int>{1, 0, 1}));
    EXPECT_EQ(floats(withUVs.mesh.getUVsRaw(), 4), (std::vector<float>{0, 0, 0.75f, 1}));
}

TEST(meshCompact, negativeZeroWeldsAndNaNNeverDoes)
{
    for (float first : {0.0f, -0.0f})
    {
        const oxGeom::MeshVertex positions[] = {{{first, 0, 5}}, {{-first, 0, 5}}, {{0, 1, 0}}};
        const Weld result = weld(CompactMesh(3, positions, nullptr, nullptr, nullptr));
        EXPECT_EQ(result.mapValues(), (std::vector<int>{0, 0, 1}));
        EXPECT_EQ(std::signbit(result.mesh.getVertices()[0][0]), !std::signbit(first));
    }

    // 0, 2 and 4 are alike; NaN vertices between them tie with them in x, so
    // inside the sort they could split the run. NaN vertices come last.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const oxGeom::MeshVertex positions[] = {{{1, 0, 0}},   {{nan, 0, 0}}, {{1, 0, 0}},
                                            {{nan, 0, 0}}, {{1, 0, 0}},   {{3, 4, nan}}};
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        const Weld result = weld(CompactMesh(6, positions, nullptr, nullptr, nullptr));
        EXPECT_EQ(result.mapValues(), (std::vector<int>{0, 1, 0, 2, 0, 3})) << threads;
    }
    const oxGeom::MeshNormal nanNormals[] = {{{0, nan, 1}}, {{0, nan, 1}}, {{0, nan, 1}}};
    const oxGeom::MeshVertex same[] = {{{1, 1, 1}}, {{1, 1, 1}}, {{1, 1, 1}}};
    EXPECT_EQ(weld(CompactMesh(3, same, nanNormals, nullptr, nullptr)).mesh.getNumVertices(), 3);
}

TEST(meshCompact, weldRewritesStripsFansAndTrianglesAndAnnouncesOnce)
{
    //  3 -------- 2,5     0..3 the unit square; 4 copies 0, 5 copies 2
    //  |       /  |       triangles (0 1 2), (4 5 3), (0 4 2) -> degenerate, kept,
    //  0,4 ----- 1        and (0 7 1) with 7 out of range; strip 0 1 5 3, fan 4 1 2
    const oxGeom::MeshVertex positions[] = {{{0, 0, 0}}, {{1, 0, 0}}, {{1, 1, 0}},
                                            {{0, 1, 0}}, {{0, 0, 0}}, {{1, 1, 0}}};
    const oxGeom::MeshNormal up[] = {{{0, 0, 1}}, {{0, 0, 1}}, {{0, 0, 1}},
                                     {{0, 0, 1}}, {{0, 0, 1}}, {{0, 0, 1}}};
    const oxGeom::MeshUV uvs[] = {{{0, 0}}, {{1, 0}}, {{1, 1}}, {{0, 1}}, {{0, 0}}, {{1, 1}}};
    CompactMesh mesh(6, positions, up, uvs, nullptr);
    const int triangles[] = {0, 1, 2, 4, 5, 3, 0, 4, 2, 0, 7, 1};
    mesh.copyTriangles(4, triangles);
    const int strip[] = {0, 1, 5, 3}, fan[] = {4, 1, 2};
    mesh.resizeTriStripArrays(1, 4);
    std::copy_n(strip, 4, mesh.getTriStripPoints());
    mesh.resizeTriFanArrays(1, 3);
    std::copy_n(fan, 3, mesh.getTriFanPoints());

    testsupport::DebugCapture capture;
    const Weld result = weld(mesh);
    EXPECT_EQ(capture.text(),
              "meshCompact: 6 vertices, 4 triangles\n  sorted vertices: # s\n"
              "  initialized remap: # s\n  remapped vertices: # s\n  remapped normals: # s\n"
              "  remapped triangles: # s\n");
    // Sorted keys: (0,0,0) {0, 4}, (0,1,0) {3}, (1,0,0) {1}, (1,1,0) {2, 5}.
    const int* t = result.mesh.getTrianglesRaw();
    EXPECT_EQ(std::vector<int>(t, t + 12), (std::vector<int>{0, 2, 3, 0, 3, 1, 0, 0, 3, 0, -1, 2}));
    const int* newStrip = result.mesh.getTriStripPoints();
    EXPECT_EQ(std::vector<int>(newStrip, newStrip + 4), (std::vector<int>{0, 2, 3, 1}));
    const int* newFan = result.mesh.getTriFanPoints();
    EXPECT_EQ(std::vector<int>(newFan, newFan + 3), (std::vector<int>{0, 2, 3}));
    EXPECT_EQ(result.mesh.notices, 1);
    EXPECT_EQ(result.mesh.type, MeshModification::Topology);
    EXPECT_EQ(result.mesh.flags, MeshModification::NormalsModifiedFlag |
                                     MeshModification::UVsModifiedFlag |
                                     MeshModification::StripsAndFansModifiedFlag |
                                     MeshModification::TriangleNormalsValidFlag);
    EXPECT_EQ(result.mesh.remap.getTriangleMap(), nullptr);
    ASSERT_NE(result.mesh.remap.getVertexMap(), nullptr);
    EXPECT_EQ(result.mesh.remap.getVertexMap()->getRangeSize(), 4);

    // Positions only: no normals line and only the triangle-normals flag.
    capture.clear();
    const Weld plain = weld(CompactMesh(6, positions, nullptr, nullptr, nullptr));
    EXPECT_EQ(capture.text(),
              "meshCompact: 6 vertices, 0 triangles\n  sorted vertices: # s\n"
              "  initialized remap: # s\n  remapped vertices: # s\n  remapped triangles: # s\n");
    EXPECT_EQ(plain.mesh.flags, unsigned(MeshModification::TriangleNormalsValidFlag));
}

TEST(meshCompact, noWeldOrEmptyMeshLeavesTheMeshAndGivesTheIdentity)
{
    testsupport::DebugCapture capture;
    std::vector<double> reported;
    oxUtil::Progress progress([&](double fraction, const char*) { reported.push_back(fraction); });
    const CompactMesh cube = fixtures::cube();
    RecordingMesh same(cube);
    oxGeom::Remap map(2, 2);
    oxGeom::meshCompact(same, progress, map);
    EXPECT_EQ(same.notices, 0);
    EXPECT_TRUE(map.isSequential());
    EXPECT_EQ(map.getDomainSize(), 8);
    EXPECT_EQ(map.getRangeSize(), 8);
    EXPECT_EQ(floats(same.getVerticesRaw(), 24), floats(cube.getVerticesRaw(), 24));
    EXPECT_EQ(capture.text(),
              "meshCompact: 8 vertices, 12 triangles\n  sorted vertices: # s\n"
              "  initialized remap: # s\n");
    // The sort covers 0.8 of the caller's progress, the numbering the rest.
    EXPECT_EQ(reported, (std::vector<double>{0.8, 1.0}));

    const Weld empty = weld(fixtures::emptyMesh());
    EXPECT_EQ(empty.map.getDomainSize(), 0);
    EXPECT_EQ(empty.map.getRangeSize(), 0);
    EXPECT_EQ(empty.mesh.notices, 0);
}
