// meshCompact: every weld is checked against a pairwise == oracle (who is welded,
// which old vertex supplies the values, ascending key order, triangles through
// the map) for every key mode and thread count; plus the hand-built edge cases,
// the change notice and the exact diagnostic lines.

#include <oxGeom/meshCompact.h>

#include <oxGeom/MeshModification.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace
{
using oxGeom::CompactMesh;

// Keeps what the weld announced.
class RecordingMesh : public CompactMesh
{
public:
    RecordingMesh() = default;
    explicit RecordingMesh(const CompactMesh& mesh) : CompactMesh(mesh) {}
    void modified(oxGeom::MeshModification& modification) override
    {
        ++notices;
        type = modification.getType();
        flags = modification.getFlags();
        remap = *modification.getRemap();
        CompactMesh::modified(modification);
    }
    int notices = 0;
    oxGeom::MeshModification::Type type = oxGeom::MeshModification::Geometry;
    unsigned flags = 0;
    oxGeom::MeshRemap remap;
};

struct Weld
{
    RecordingMesh mesh;
    oxGeom::Remap map;
};

Weld weld(const CompactMesh& mesh)
{
    Weld result{RecordingMesh(mesh), oxGeom::Remap(3, 3)};
    oxUtil::Progress progress;
    oxGeom::meshCompact(result.mesh, progress, result.map);
    return result;
}

// The float arrays that take part in the key, with their widths.
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

bool alike(const KeyArrays& key, int a, int b)
{
    for (auto [values, width] : key)
        for (int k = 0; k < width; ++k)
            if (!(values[a * width + k] == values[b * width + k]))
                return false;
    return true;
}

// -1, 0, 1 by the key of new vertices a and b, as plain float comparisons.
int keyOrder(const CompactMesh& mesh, int a, int b)
{
    for (auto [values, width] : keyArrays(mesh))
        for (int k = 0; k < width; ++k)
            if (values[a * width + k] != values[b * width + k])
                return values[a * width + k] < values[b * width + k] ? -1 : 1;
    return 0;
}

bool sameBits(const float* a, const float* b, int count)
{
    return std::memcmp(a, b, sizeof(float) * count) == 0;
}

// Checks a weld of `before` against brute force.
void expectWeldOf(const CompactMesh& before, const Weld& result)
{
    const CompactMesh& after = result.mesh;
    const int n = before.getNumVertices();
    const int count = after.getNumVertices();
    ASSERT_EQ(result.map.getDomainSize(), n);
    ASSERT_EQ(result.map.getRangeSize(), count);
    const KeyArrays key = keyArrays(before);
    std::vector<int> lastMember(count, -1);
    for (int i = 0; i < n; ++i)
    {
        ASSERT_GE(result.map(i), 0);
        ASSERT_LT(result.map(i), count);
        lastMember[result.map(i)] = i;
        for (int j = i + 1; j < n; ++j)
            ASSERT_EQ(alike(key, i, j), result.map(i) == result.map(j)) << i << ", " << j;
    }
    const bool explicitNormals = before.getNormalsRaw() && !before.getNormalsComputed();
    for (int v = 0; v < count; ++v)
    {
        const int source = lastMember[v];
        ASSERT_GE(source, 0) << "new vertex " << v << " has no old one";
        EXPECT_TRUE(
            sameBits(after.getVerticesRaw() + 3 * v, before.getVerticesRaw() + 3 * source, 3));
        const bool normalsMatch =
            !explicitNormals ||
            sameBits(after.getNormalsRaw() + 3 * v, before.getNormalsRaw() + 3 * source, 3);
        const bool uvsMatch = !before.getUVsRaw() || sameBits(after.getUVsRaw() + 2 * v,
                                                              before.getUVsRaw() + 2 * source, 2);
        EXPECT_TRUE(normalsMatch && uvsMatch) << "new vertex " << v;
        EXPECT_TRUE(v == 0 || keyOrder(after, v - 1, v) < 0) << "new vertex " << v;
    }
    for (int c = 0; c < 3 * before.getNumTriangles(); ++c)
        EXPECT_EQ(after.getTrianglesRaw()[c], result.map(before.getTrianglesRaw()[c]));
}

// Random vertices over a few values (+0 and -0 among them) so that many are alike.
CompactMesh coarseRandomMesh(std::uint32_t seed, int n, bool normals, bool uvs)
{
    std::mt19937 random(seed);
    const float values[] = {0.0f, -0.0f, 1.0f, 2.5f};
    auto pick = [&] { return values[random() % 4]; };
    CompactMesh mesh = fixtures::randomMesh(seed, n, n);
    float* positions = mesh.getVerticesRaw();
    for (int c = 0; c < 3 * n; ++c)
        positions[c] = pick();
    if (normals)
        for (float* p = mesh.allocNormalArray()->v; p != mesh.getNormalsRaw() + 3 * n; ++p)
            *p = pick() > 1.0f ? 1.0f : 0.0f;
    if (uvs)
        for (float* p = mesh.allocUVArray()->v; p != mesh.getUVsRaw() + 2 * n; ++p)
            *p = pick() > 1.0f ? 1.0f : 0.0f;
    return mesh;
}

// Every corner its own vertex: corner k of triangle t becomes vertex 3t + k.
CompactMesh unweld(const CompactMesh& mesh)
{
    const int m = mesh.getNumTriangles();
    std::vector<oxGeom::MeshVertex> corners;
    std::vector<int> triangles;
    for (int c = 0; c < 3 * m; ++c)
    {
        corners.push_back(mesh.getVertices()[mesh.getTrianglesRaw()[c]]);
        triangles.push_back(c);
    }
    CompactMesh soup(3 * m, corners.data(), nullptr, nullptr, nullptr);
    soup.copyTriangles(m, triangles.data());
    return soup;
}

void expectSameResult(const Weld& a, const Weld& b)
{
    ASSERT_EQ(a.mesh.getNumVertices(), b.mesh.getNumVertices());
    EXPECT_TRUE(
        sameBits(a.mesh.getVerticesRaw(), b.mesh.getVerticesRaw(), 3 * a.mesh.getNumVertices()));
    EXPECT_EQ(std::memcmp(a.mesh.getTrianglesRaw(), b.mesh.getTrianglesRaw(),
                          sizeof(int) * 3 * a.mesh.getNumTriangles()),
              0);
    for (int i = 0; i < a.map.getDomainSize(); ++i)
        ASSERT_EQ(a.map(i), b.map(i));
}
}  // namespace

TEST(meshCompact, matchesPairwiseOracleInEveryKeyModeAndThreadCount)
{
    struct Mode
    {
        bool normals, computed, uvs;
    };
    for (Mode mode : {Mode{false, false, false}, Mode{true, false, false}, Mode{true, false, true},
                      Mode{true, true, true}, Mode{false, false, true}})
    {
        CompactMesh mesh = coarseRandomMesh(3, 500, mode.normals, mode.uvs);
        mesh.setNormalsComputed(mode.computed);
        Weld single;
        for (int threads : testsupport::threadCounts)
        {
            testsupport::PoolThreads pool(threads);
            const Weld result = weld(mesh);
            SCOPED_TRACE(testing::Message()
                         << "normals " << mode.normals << " computed " << mode.computed << " uvs "
                         << mode.uvs << ", " << threads << " threads");
            expectWeldOf(mesh, result);
            if (threads == 1)
                single = result;
            else
                expectSameResult(result, single);
        }
    }
}

TEST(meshCompact, unweldedMeshWeldsBackToTheSameGeometry)
{
    for (const CompactMesh& original : {fixtures::icosphere(2, 1.0f), fixtures::gridMesh(9, 4)})
        for (int threads : testsupport::threadCounts)
        {
            testsupport::PoolThreads pool(threads);
            const CompactMesh soup = unweld(original);
            const Weld result = weld(soup);
            ASSERT_EQ(result.mesh.getNumVertices(), original.getNumVertices());
            ASSERT_EQ(result.mesh.getNumTriangles(), original.getNumTriangles());
            for (int c = 0; c < 3 * original.getNumTriangles(); ++c)
                ASSERT_TRUE(sameBits(result.mesh.getVertices()[result.mesh.getTrianglesRaw()[c]].v,
                                     original.getVertices()[original.getTrianglesRaw()[c]].v, 3))
                    << "corner " << c;
        }
}

TEST(meshCompact, normalsKeepVerticesApartUnlessComputed)
{
    // Vertices 0 and 1 share a position, their normals differ.
    const oxGeom::MeshVertex positions[] = {{{0, 0, 0}}, {{0, 0, 0}}, {{1, 0, 0}}};
    const oxGeom::MeshNormal normals[] = {{{0, 0, 1}}, {{0, 1, 0}}, {{0, 0, 1}}};
    CompactMesh mesh(3, positions, normals, nullptr, nullptr);
    EXPECT_EQ(weld(mesh).mesh.getNumVertices(), 3);
    EXPECT_EQ(weld(mesh).mesh.notices, 0);
    mesh.setNormalsComputed(true);
    const Weld computed = weld(mesh);
    EXPECT_EQ(computed.mesh.getNumVertices(), 2);
    EXPECT_EQ(computed.map(0), computed.map(1));
    EXPECT_FALSE(computed.mesh.flags & oxGeom::MeshModification::NormalsModifiedFlag);
}

TEST(meshCompact, negativeZeroWeldsAndTheHigherOldIndexSurvives)
{
    for (float first : {0.0f, -0.0f})
    {
        const oxGeom::MeshVertex positions[] = {{{first, 0, 5}}, {{-first, 0, 5}}, {{0, 1, 0}}};
        const Weld result = weld(CompactMesh(3, positions, nullptr, nullptr, nullptr));
        ASSERT_EQ(result.mesh.getNumVertices(), 2);
        EXPECT_EQ(result.map(0), 0);
        EXPECT_EQ(result.map(1), 0);
        EXPECT_EQ(std::signbit(result.mesh.getVertices()[0][0]), !std::signbit(first));
    }
}

TEST(meshCompact, uvsWithoutNormalsDoNotKeepVerticesApart)
{
    const oxGeom::MeshVertex positions[] = {{{2, 0, 0}}, {{1, 0, 0}}, {{2, 0, 0}}};
    const oxGeom::MeshUV uvs[] = {{{0.25f, 0}}, {{0, 0}}, {{0.75f, 1}}};
    const Weld result = weld(CompactMesh(3, positions, nullptr, uvs, nullptr));
    ASSERT_EQ(result.mesh.getNumVertices(), 2);
    EXPECT_EQ(result.map(1), 0);
    EXPECT_EQ(result.map(0), 1);
    EXPECT_EQ(result.map(2), 1);
    EXPECT_EQ(result.mesh.getUVs()[1][0], 0.75f);
    EXPECT_EQ(result.mesh.getUVs()[1][1], 1.0f);

    // With explicit normals the UVs take part and keep 0 and 2 apart.
    const oxGeom::MeshNormal normals[] = {{{0, 0, 1}}, {{0, 0, 1}}, {{0, 0, 1}}};
    EXPECT_EQ(weld(CompactMesh(3, positions, normals, uvs, nullptr)).mesh.getNumVertices(), 3);
}

TEST(meshCompact, nanVerticesAreNeverWeldedAndComeLast)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // 0, 2 and 4 are alike; a NaN vertex sits between them in index order and
    // ties with them in x, so it must not split their run.
    const oxGeom::MeshVertex positions[] = {{{1, 0, 0}},   {{nan, 0, 0}}, {{1, 0, 0}},
                                            {{nan, 0, 0}}, {{1, 0, 0}},   {{3, 4, nan}}};
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        const Weld result = weld(CompactMesh(6, positions, nullptr, nullptr, nullptr));
        ASSERT_EQ(result.mesh.getNumVertices(), 4);
        const int expected[] = {0, 1, 0, 2, 0, 3};
        for (int i = 0; i < 6; ++i)
            EXPECT_EQ(result.map(i), expected[i]) << i;
    }
    // A NaN normal component keeps a vertex apart as well.
    const oxGeom::MeshVertex two[] = {{{1, 1, 1}}, {{1, 1, 1}}};
    const oxGeom::MeshNormal normals[] = {{{0, nan, 1}}, {{0, nan, 1}}};
    EXPECT_EQ(weld(CompactMesh(2, two, normals, nullptr, nullptr)).mesh.getNumVertices(), 2);
}

TEST(meshCompact, weldRewritesStripsFansAndTrianglesAndAnnouncesOnce)
{
    //  3 -------- 2,5     0..3 the unit square; 4 copies 0, 5 copies 2
    //  |       /  |       triangles (0 1 2), (4 5 3), (0 4 2) -> degenerate
    //  0,4 ----- 1        strip 0 1 5 3, fan 4 1 2, one corner out of range (7)
    const oxGeom::MeshVertex positions[] = {{{0, 0, 0}}, {{1, 0, 0}}, {{1, 1, 0}},
                                            {{0, 1, 0}}, {{0, 0, 0}}, {{1, 1, 0}}};
    const oxGeom::MeshNormal up[] = {{{0, 0, 1}}, {{0, 0, 1}}, {{0, 0, 1}},
                                     {{0, 0, 1}}, {{0, 0, 1}}, {{0, 0, 1}}};
    const oxGeom::MeshUV uvs[] = {{{0, 0}}, {{1, 0}}, {{1, 1}}, {{0, 1}}, {{0, 0}}, {{1, 1}}};
    CompactMesh mesh(6, positions, up, uvs, nullptr);
    const int triangles[] = {0, 1, 2, 4, 5, 3, 0, 4, 2, 0, 7, 1};
    mesh.copyTriangles(4, triangles);
    mesh.resizeTriStripArrays(1, 4);
    std::memcpy(mesh.getTriStripPoints(), (const int[]){0, 1, 5, 3}, 4 * sizeof(int));
    mesh.resizeTriFanArrays(1, 3);
    std::memcpy(mesh.getTriFanPoints(), (const int[]){4, 1, 2}, 3 * sizeof(int));

    testsupport::DebugCapture capture;
    const Weld result = weld(mesh);
    EXPECT_EQ(capture.text(),
              "meshCompact: 6 vertices, 4 triangles\n  sorted vertices: # s\n"
              "  initialized remap: # s\n  remapped vertices: # s\n  remapped normals: # s\n"
              "  remapped triangles: # s\n");
    // Sorted keys: (0,0,0) {0, 4}, (0,1,0) {3}, (1,0,0) {1}, (1,1,0) {2, 5}.
    const std::vector<int> expectedTriangles = {0, 2, 3, 0, 3, 1, 0, 0, 3, 0, -1, 2};
    EXPECT_EQ(std::vector<int>(result.mesh.getTrianglesRaw(), result.mesh.getTrianglesRaw() + 12),
              expectedTriangles);
    EXPECT_EQ(
        std::vector<int>(result.mesh.getTriStripPoints(), result.mesh.getTriStripPoints() + 4),
        (std::vector<int>{0, 2, 3, 1}));
    EXPECT_EQ(std::vector<int>(result.mesh.getTriFanPoints(), result.mesh.getTriFanPoints() + 3),
              (std::vector<int>{0, 2, 3}));
    EXPECT_EQ(result.mesh.notices, 1);
    EXPECT_EQ(result.mesh.type, oxGeom::MeshModification::Topology);
    EXPECT_EQ(result.mesh.flags, oxGeom::MeshModification::NormalsModifiedFlag |
                                     oxGeom::MeshModification::UVsModifiedFlag |
                                     oxGeom::MeshModification::StripsAndFansModifiedFlag |
                                     oxGeom::MeshModification::TriangleNormalsValidFlag);
    EXPECT_EQ(result.mesh.remap.getTriangleMap(), nullptr);
    EXPECT_NE(result.mesh.remap.getVertexMap(), nullptr);

    // Positions only: no normals line, no normal or UV flag.
    CompactMesh plain(6, positions, nullptr, nullptr, nullptr);
    capture.clear();
    const Weld plainResult = weld(plain);
    EXPECT_EQ(capture.text(),
              "meshCompact: 6 vertices, 0 triangles\n  sorted vertices: # s\n"
              "  initialized remap: # s\n  remapped vertices: # s\n  remapped triangles: # s\n");
    EXPECT_EQ(plainResult.mesh.flags, oxGeom::MeshModification::TriangleNormalsValidFlag);
}

TEST(meshCompact, noWeldAndEmptyMeshLeaveTheMeshAndGiveTheIdentity)
{
    testsupport::DebugCapture capture;
    const CompactMesh cube = fixtures::cube();
    const Weld same = weld(cube);
    EXPECT_EQ(same.mesh.notices, 0);
    EXPECT_TRUE(same.map.isSequential());
    EXPECT_EQ(same.map.getDomainSize(), 8);
    EXPECT_EQ(same.map.getRangeSize(), 8);
    EXPECT_TRUE(sameBits(same.mesh.getVerticesRaw(), cube.getVerticesRaw(), 24));
    EXPECT_EQ(capture.text(),
              "meshCompact: 8 vertices, 12 triangles\n  sorted vertices: # s\n"
              "  initialized remap: # s\n");

    const Weld empty = weld(fixtures::emptyMesh());
    EXPECT_EQ(empty.map.getDomainSize(), 0);
    EXPECT_EQ(empty.map.getRangeSize(), 0);
    EXPECT_EQ(empty.mesh.notices, 0);
}

TEST(meshCompact, progressCoversTheSortThenTheNumbering)
{
    std::vector<double> reported;
    oxUtil::Progress progress([&](double fraction, const char*) { reported.push_back(fraction); });
    CompactMesh mesh = unweld(fixtures::cube());
    oxGeom::meshCompact(mesh, progress);
    EXPECT_EQ(mesh.getNumVertices(), 8);
    ASSERT_EQ(reported.size(), 2u);
    EXPECT_DOUBLE_EQ(reported[0], 0.8);
    EXPECT_DOUBLE_EQ(reported[1], 1.0);
}
