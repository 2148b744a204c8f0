// The mesh file entry points: formats by extension, round trips through every format and
// encoding (and a chain through all of them), real files of the assimp-testmodels package,
// rejection of its invalid files and of truncated and corrupted copies of valid ones without
// any change to the caller's mesh, and writes that fail or are cancelled without leaving any
// file behind.

#if defined(TRELM_FORMAT_TESTS)

#include "formatTestSupport.h"

#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <random>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

using formatTests::ScratchDir;
using trelm::files::Encoding;
using trelm::files::FileResult;
using trelm::files::MeshFormat;

namespace
{
struct Variant
{
    const char* name;
    MeshFormat format;
    Encoding encoding;
    bool bigEndian;
};

const Variant variants[] = {
    {"mesh.obj", MeshFormat::Obj, Encoding::Ascii, false},
    {"ascii.ply", MeshFormat::Ply, Encoding::Ascii, false},
    {"little.ply", MeshFormat::Ply, Encoding::Binary, false},
    {"big.ply", MeshFormat::Ply, Encoding::Binary, true},
    {"mesh.off", MeshFormat::Off, Encoding::Ascii, false},
    {"mesh.trelm", MeshFormat::Text, Encoding::Ascii, false},
    {"ascii.stl", MeshFormat::Stl, Encoding::Ascii, false},
    {"binary.stl", MeshFormat::Stl, Encoding::Binary, false},
};

FileResult write(const std::string& path, const Variant& variant, const oxGeom::CompactMesh& mesh)
{
    trelm::files::WriteOptions options;
    options.encoding = variant.encoding;
    options.bigEndian = variant.bigEndian;
    return trelm::files::writeMesh(path, variant.format, mesh, options);
}

// STL keeps the triangles' corners but not the numbering: compare geometry, and check that the
// weld left one vertex per distinct position.
void expectSameGeometry(const oxGeom::CompactMesh& expected, const oxGeom::CompactMesh& actual,
                        MeshFormat format)
{
    if (format != MeshFormat::Stl)
        return formatTests::expectSameIndexedMesh(expected, actual);
    EXPECT_EQ(formatTests::triangleCorners(expected), formatTests::triangleCorners(actual));
    EXPECT_EQ(static_cast<std::size_t>(actual.getNumVertices()),
              formatTests::distinctCornerPositions(expected));
}

// A mesh with content a failed read must leave exactly as it was.
oxGeom::CompactMesh sentinel()
{
    oxGeom::CompactMesh mesh = fixtures::tetrahedron();
    mesh.allocNormalArray()[2][1] = 0.5f;
    mesh.getSelectedTriangles().setBit(1);
    return mesh;
}

void expectSentinel(const oxGeom::CompactMesh& mesh, const std::string& context)
{
    const oxGeom::CompactMesh expected = sentinel();
    EXPECT_EQ(formatTests::positionsOf(mesh), formatTests::positionsOf(expected)) << context;
    EXPECT_EQ(formatTests::trianglesOf(mesh), formatTests::trianglesOf(expected)) << context;
    ASSERT_NE(mesh.getNormals(), nullptr) << context;
    EXPECT_EQ(mesh.getNormals()[2][1], 0.5f) << context;
    EXPECT_TRUE(mesh.getSelectedTriangles().isBitSet(1)) << context;
}

// Reads `bytes` as `format` into the sentinel: either it succeeds, or it fails with one line
// naming the file and leaves the sentinel alone. Returns whether it succeeded.
bool readsOrFailsCleanly(const ScratchDir& dir, const std::string& bytes, MeshFormat format,
                         const std::string& context)
{
    const std::string path = dir.file("damaged");
    formatTests::writeBytes(path, bytes);
    oxGeom::CompactMesh mesh = sentinel();
    const FileResult result = trelm::files::readMesh(path, format, mesh);
    if (result.ok)
        return true;
    EXPECT_EQ(result.message.rfind(path + ": ", 0), 0u) << context << ": " << result.message;
    EXPECT_EQ(result.message.find_first_of("\r\n"), std::string::npos) << context;
    expectSentinel(mesh, context);
    return false;
}

double surfaceArea(const oxGeom::CompactMesh& mesh)
{
    const float* p = mesh.getVerticesRaw();
    const std::vector<int> triangles = formatTests::trianglesOf(mesh);
    double area = 0.0;
    for (std::size_t t = 0; t < triangles.size(); t += 3)
    {
        const float* a = p + 3 * triangles[t];
        const float* b = p + 3 * triangles[t + 1];
        const float* c = p + 3 * triangles[t + 2];
        const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
        const double v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
        area += 0.5 * std::sqrt(std::pow(u[1] * v[2] - u[2] * v[1], 2) +
                                std::pow(u[2] * v[0] - u[0] * v[2], 2) +
                                std::pow(u[0] * v[1] - u[1] * v[0], 2));
    }
    return area;
}

std::string model(const char* relative)
{
    return formatTests::assimpModels() + "/" + relative;
}
}  // namespace

TEST(meshFiles, formatsAreNamedByExtensionOrNameInAnyLetterCase)
{
    using trelm::files::formatFromName;
    using trelm::files::formatFromPath;
    EXPECT_EQ(formatFromPath("a/b/bunny.PLY"), MeshFormat::Ply);
    EXPECT_EQ(formatFromPath("x.obj"), MeshFormat::Obj);
    EXPECT_EQ(formatFromPath("Part.Stl"), MeshFormat::Stl);
    EXPECT_EQ(formatFromPath("dir.off/m.off"), MeshFormat::Off);
    EXPECT_EQ(formatFromPath("test.trelm"), MeshFormat::Text);
    EXPECT_EQ(formatFromPath("dir.ply/mesh"), std::nullopt);
    EXPECT_EQ(formatFromPath("mesh.ply.gz"), std::nullopt);
    EXPECT_EQ(formatFromPath("mesh"), std::nullopt);
    EXPECT_EQ(formatFromName("TEXT"), MeshFormat::Text);
    EXPECT_EQ(formatFromName("ply"), MeshFormat::Ply);
    EXPECT_EQ(formatFromName("gltf"), std::nullopt);
    for (const Variant& variant : variants)
        EXPECT_EQ(formatFromName(trelm::files::formatName(variant.format)), variant.format);
    oxGeom::CompactMesh mesh = sentinel();
    const FileResult result = trelm::files::readMesh("model.3ds", mesh);
    EXPECT_EQ(result.message,
              "model.3ds: unknown mesh file extension (expected .obj, .ply, .stl, .off or .trelm)");
    expectSentinel(mesh, "unknown extension");
}

TEST(meshFiles, everyFormatRoundTripsPositionsAndTrianglesAlsoInAChain)
{
    ScratchDir dir;
    const oxGeom::CompactMesh original = formatTests::awkwardMesh(11, 300, 700);
    for (const Variant& variant : variants)
    {
        SCOPED_TRACE(variant.name);
        ASSERT_TRUE(write(dir.file(variant.name), variant, original).ok);
        oxGeom::CompactMesh back = sentinel();
        const FileResult result = trelm::files::readMesh(dir.file(variant.name), back);
        ASSERT_TRUE(result.ok) << result.message;
        expectSameGeometry(original, back, variant.format);
        EXPECT_EQ(back.getNormals(), nullptr);  // the sentinel's channels are gone
        // An empty mesh makes a valid file too.
        ASSERT_TRUE(write(dir.file(variant.name), variant, oxGeom::CompactMesh()).ok);
        EXPECT_EQ(formatTests::readOrFail(dir.file(variant.name), variant.format).getNumVertices(),
                  0);
    }
    // OBJ -> PLY (ASCII, binary) -> STL (welded) -> OFF -> text -> OBJ keeps the geometry.
    oxGeom::CompactMesh current = original;
    for (const Variant& variant : variants)
    {
        ASSERT_TRUE(write(dir.file(variant.name), variant, current).ok);
        current = formatTests::readOrFail(dir.file(variant.name), variant.format);
    }
    ASSERT_TRUE(write(dir.file("last.obj"), variants[0], current).ok);
    expectSameGeometry(original, formatTests::readOrFail(dir.file("last.obj"), MeshFormat::Obj),
                       MeshFormat::Stl);
}

TEST(meshFiles, realMeshesLoadWithTheirKnownCountsAlikeInEveryFormat)
{
    SKIP_WITHOUT_ASSIMP_MODELS();
    struct Known
    {
        const char* file;
        int vertices;
        int triangles;
    };
    // Counts from the files' own headers (PLY, OFF, binary STL) or their text.
    const Known known[] = {
        {"PLY/cube.ply", 8, 12},
        {"PLY/cube_binary.ply", 8, 12},
        {"PLY/cube_uv.ply", 24, 12},
        {"PLY/points.ply", 4, 0},
        {"OFF/Cube.off", 8, 12},
        {"OFF/Wuson.off", 3205, 3732},
        {"OBJ/box.obj", 8, 12},
        {"OBJ/WusonOBJ.obj", 2117, 3732},
        {"OBJ/spider.obj", 762, 1368},
        {"STL/Wuson.stl", 2117, 3732},
        {"STL/Spider_binary.stl", 722, 1368},
        {"STL/Spider_ascii.stl", 722, 1368},
        {"STL/triangle_with_two_solids.stl", 6, 2},
    };
    for (const Known& entry : known)
    {
        oxGeom::CompactMesh mesh;
        const FileResult result = trelm::files::readMesh(model(entry.file), mesh);
        ASSERT_TRUE(result.ok) << result.message;
        EXPECT_EQ(mesh.getNumVertices(), entry.vertices) << entry.file;
        EXPECT_EQ(mesh.getNumTriangles(), entry.triangles) << entry.file;
        EXPECT_TRUE(fixtures::indicesInRange(mesh)) << entry.file;
    }
    // One model in several formats: the same surface area (the ASCII and binary spider, and the
    // Wuson as OBJ, OFF and STL).
    oxGeom::CompactMesh ascii, binary;
    ASSERT_TRUE(trelm::files::readMesh(model("STL/Spider_ascii.stl"), ascii).ok);
    ASSERT_TRUE(trelm::files::readMesh(model("STL/Spider_binary.stl"), binary).ok);
    EXPECT_NEAR(surfaceArea(ascii), surfaceArea(binary), 1e-4 * surfaceArea(binary));
    oxGeom::CompactMesh wuson;
    ASSERT_TRUE(trelm::files::readMesh(model("OBJ/WusonOBJ.obj"), wuson).ok);
    EXPECT_NE(wuson.getUVs(), nullptr);
    const double area = surfaceArea(wuson);
    for (const char* other : {"OFF/Wuson.off", "STL/Wuson.stl"})
    {
        oxGeom::CompactMesh mesh;
        ASSERT_TRUE(trelm::files::readMesh(model(other), mesh).ok);
        EXPECT_NEAR(surfaceArea(mesh), area, 1e-4 * area) << other;
    }
}

TEST(meshFiles, everyFileOfTheInvalidFolderIsRejectedInOneLine)
{
    SKIP_WITHOUT_ASSIMP_MODELS();
    ScratchDir dir;
    int files = 0;
    for (const auto& entry : formatTests::fs::directory_iterator(model("invalid")))
    {
        const std::string path = entry.path().string();
        oxGeom::CompactMesh mesh = sentinel();
        const FileResult result = trelm::files::readMesh(path, mesh);
        EXPECT_FALSE(result.ok) << path;
        EXPECT_EQ(result.message.rfind(path + ": ", 0), 0u) << result.message;
        EXPECT_EQ(result.message.find('\n'), std::string::npos) << result.message;
        expectSentinel(mesh, path);
        // Read as each format in turn as well: accepted or not, never a crash.
        const std::string bytes = formatTests::readBytes(path);
        for (const Variant& variant : variants)
            readsOrFailsCleanly(dir, bytes, variant.format, path + " as " + variant.name);
        ++files;
    }
    EXPECT_GE(files, 10);
}

TEST(meshFiles, truncatedAndCorruptedFilesFailInOneLineAndChangeNothing)
{
    ScratchDir dir;
    std::mt19937 random(5);
    const oxGeom::CompactMesh mesh = formatTests::awkwardMesh(4, 6, 8);
    for (const Variant& variant : variants)
    {
        SCOPED_TRACE(variant.name);
        ASSERT_TRUE(write(dir.file(variant.name), variant, mesh).ok);
        const std::string bytes = formatTests::readBytes(dir.file(variant.name));
        // Files with counts (all but OBJ) need their last line, or for binary files all
        // their bytes: any shorter prefix is refused.
        const std::size_t lastLine = bytes.find_last_of('\n', bytes.size() - 2) + 1;
        const bool counted = variant.format != MeshFormat::Obj;
        const std::size_t mustFailBelow = !counted                               ? 0
                                          : variant.encoding == Encoding::Binary ? bytes.size()
                                                                                 : lastLine;
        for (std::size_t length = 0; length < bytes.size(); ++length)
        {
            const bool read = readsOrFailsCleanly(dir, bytes.substr(0, length), variant.format,
                                                  "prefix " + std::to_string(length));
            if (length < mustFailBelow)
            {
                EXPECT_FALSE(read) << "accepted a prefix of " << length << " bytes";
            }
        }
        for (int trial = 0; trial < 200; ++trial)
        {
            std::string damaged = bytes;
            for (int k = 0, changes = 1 + trial % 3; k < changes; ++k)
                damaged[random() % damaged.size()] = static_cast<char>(random());
            readsOrFailsCleanly(dir, damaged, variant.format,
                                "corruption " + std::to_string(trial));
        }
    }
}

TEST(meshFiles, failedOrCancelledWritesLeaveNoFileAndKeepTheOldOne)
{
    ScratchDir dir;
    const oxGeom::CompactMesh mesh = formatTests::awkwardMesh(9, 20000, 40000);
    const std::string path = dir.file("out.ply");
    formatTests::writeBytes(path, "previous content");
    auto onlyTheOldFile = [&](const char* what)
    {
        EXPECT_EQ(dir.entries(), std::vector<std::string>{"out.ply"}) << what;
        EXPECT_EQ(formatTests::readBytes(path), "previous content") << what;
    };

    // A file size limit makes the write fail half-way (EFBIG), even for a privileged user.
    rlimit previous;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &previous), 0);
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limited = previous;
    limited.rlim_cur = 100000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
    const FileResult tooBig = trelm::files::writeMesh(path, mesh);
    setrlimit(RLIMIT_FSIZE, &previous);
    std::signal(SIGXFSZ, previousHandler);
    EXPECT_EQ(tooBig.message, path + ": write failed: File too large");
    onlyTheOldFile("size limit");

    oxUtil::Progress progress;
    progress.cancel();
    trelm::files::WriteOptions cancelled;
    cancelled.progress = &progress;
    for (const Variant& variant : variants)
    {
        const FileResult result = trelm::files::writeMesh(path, variant.format, mesh, cancelled);
        EXPECT_EQ(result.message, path + ": cancelled") << variant.name;
    }
    onlyTheOldFile("cancelled");

    oxGeom::CompactMesh broken = fixtures::tetrahedron();
    broken.getTriangles()[2][1] = 4;
    EXPECT_EQ(trelm::files::writeMesh(path, broken).message,
              path + ": triangle 2 has vertex index 4 out of range (4 vertices)");
    EXPECT_EQ(trelm::files::writeMesh(dir.file("missing/out.ply"), mesh).message,
              dir.file("missing/out.ply") +
                  ": cannot create a temporary file beside it: No such file or directory");
    formatTests::fs::create_directory(dir.file("taken.ply"));
    EXPECT_EQ(trelm::files::writeMesh(dir.file("taken.ply"), mesh).message,
              dir.file("taken.ply") + ": cannot replace a directory");
    formatTests::fs::remove(dir.file("taken.ply"));
    ASSERT_EQ(::mkfifo(dir.file("pipe.ply").c_str(), 0600), 0);
    EXPECT_EQ(trelm::files::writeMesh(dir.file("pipe.ply"), mesh).message,
              dir.file("pipe.ply") + ": cannot replace a special file (device, pipe or socket)");
    EXPECT_TRUE(formatTests::fs::is_fifo(dir.file("pipe.ply")));
    formatTests::fs::remove(dir.file("pipe.ply"));
    onlyTheOldFile("refused");

    // A successful write replaces the old file in one step.
    ASSERT_TRUE(trelm::files::writeMesh(path, mesh).ok);
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"out.ply"});
    formatTests::expectSameIndexedMesh(mesh, formatTests::readOrFail(path, MeshFormat::Ply));
}

TEST(meshFiles, progressRunsToTheEndAndCancelStopsAReadWithoutChange)
{
    ScratchDir dir;
    const oxGeom::CompactMesh mesh = formatTests::awkwardMesh(2, 20000, 70000);
    for (const Variant& variant : variants)
    {
        SCOPED_TRACE(variant.name);
        const std::string path = dir.file(variant.name);
        std::vector<double> fractions;
        oxUtil::Progress progress([&](double fraction, const char*)
                                  { fractions.push_back(fraction); });
        trelm::files::WriteOptions writeOptions;
        writeOptions.encoding = variant.encoding;
        writeOptions.progress = &progress;
        ASSERT_TRUE(trelm::files::writeMesh(path, variant.format, mesh, writeOptions).ok);
        ASSERT_FALSE(fractions.empty());
        EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
        EXPECT_EQ(fractions.back(), 1.0);

        fractions.clear();
        trelm::files::ReadOptions readOptions;
        readOptions.progress = &progress;
        oxGeom::CompactMesh back;
        ASSERT_TRUE(trelm::files::readMesh(path, variant.format, back, readOptions).ok);
        EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
        EXPECT_EQ(fractions.back(), 1.0);

        // Cancel from the first report on: the read stops and changes nothing.
        oxUtil::Progress cancelling([&](double, const char*) { cancelling.cancel(); });
        readOptions.progress = &cancelling;
        oxGeom::CompactMesh untouched = sentinel();
        EXPECT_EQ(trelm::files::readMesh(path, variant.format, untouched, readOptions).message,
                  path + ": cancelled");
        expectSentinel(untouched, variant.name);
    }
}

#endif
