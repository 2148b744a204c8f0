// trelm render: the picture's coverage (alpha) against brute-force ray casting of the same
// sub-pixel rays from an independently built camera, its independence from the thread count,
// and the curvature colouring and background options.

#include "trelmRunner.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <set>

namespace
{
using namespace clitest;

constexpr double pi = 3.14159265358979323846;

struct Vec
{
    double x, y, z;
};
Vec operator+(Vec a, Vec b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
Vec operator-(Vec a, Vec b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Vec operator*(double s, Vec a)
{
    return {s * a.x, s * a.y, s * a.z};
}
double dot(Vec a, Vec b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
Vec cross(Vec a, Vec b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// The documented framing for up = +y: the eye looks at the box centre from azimuth `az` and
// elevation `el` (degrees), at the distance where the sphere about the centre through the
// farthest vertex fits the narrower angle of view.
struct ViewRays
{
    Vec eye, right, up, towardEye;
    Vec centre;
    double radius;
    double tanHalf, aspect;
    Vec direction(double windowX, double windowY, int width, int height) const
    {
        const double ndcX = 2.0 * windowX / width - 1.0, ndcY = 2.0 * windowY / height - 1.0;
        return ndcX * tanHalf * aspect * right + ndcY * tanHalf * up - 1.0 * towardEye;
    }
};

ViewRays frame(const oxGeom::CompactMesh& mesh, double az, double el, double fov, int width,
               int height)
{
    Vec low{DBL_MAX, DBL_MAX, DBL_MAX}, high{-DBL_MAX, -DBL_MAX, -DBL_MAX};
    for (int v = 0; v < mesh.getNumVertices(); ++v)
    {
        const float* p = mesh.getVertices()[v].v;
        low = {std::min(low.x, double(p[0])), std::min(low.y, double(p[1])),
               std::min(low.z, double(p[2]))};
        high = {std::max(high.x, double(p[0])), std::max(high.y, double(p[1])),
                std::max(high.z, double(p[2]))};
    }
    const Vec centre = 0.5 * (low + high);
    double radius = 0.0;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
    {
        const float* p = mesh.getVertices()[v].v;
        const Vec offset = Vec{p[0], p[1], p[2]} - centre;
        radius = std::max(radius, std::sqrt(dot(offset, offset)));
    }
    const Vec up{0, 1, 0}, front{0, 0, 1}, side{1, 0, 0};
    const double a = az * pi / 180, e = el * pi / 180;
    ViewRays view;
    view.towardEye = std::cos(e) * (std::cos(a) * front + std::sin(a) * side) + std::sin(e) * up;
    view.right = std::cos(a) * side - std::sin(a) * front;
    view.up = cross(view.towardEye, view.right);
    view.tanHalf = std::tan(0.5 * fov * pi / 180);
    view.aspect = double(width) / height;
    const double halfWidth = std::atan(view.tanHalf * view.aspect);
    const double distance = radius / std::sin(std::min(0.5 * fov * pi / 180, halfWidth));
    view.eye = centre + distance * view.towardEye;
    view.centre = centre;
    view.radius = radius;
    return view;
}

bool rayHitsMesh(const oxGeom::CompactMesh& mesh, const ViewRays& view, Vec origin, Vec d)
{
    // A ray that passes the sphere holding every vertex meets no triangle.
    const Vec toCentre = view.centre - origin;
    const double along = dot(toCentre, d) / dot(d, d);
    const Vec nearest = toCentre - along * d;
    if (dot(nearest, nearest) > 1.0001 * view.radius * view.radius)
        return false;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        const float* a = mesh.getVertices()[tri[0]].v;
        const float* b = mesh.getVertices()[tri[1]].v;
        const float* c = mesh.getVertices()[tri[2]].v;
        const Vec A{a[0], a[1], a[2]};
        const Vec e1 = Vec{b[0], b[1], b[2]} - A, e2 = Vec{c[0], c[1], c[2]} - A;
        const Vec p = cross(d, e2);
        const double det = dot(e1, p);
        if (std::fabs(det) < 1e-14)
            continue;
        const Vec s = origin - A;
        const double u = dot(s, p) / det;
        const Vec q = cross(s, e1);
        const double v = dot(d, q) / det;
        if (u >= 0 && v >= 0 && u + v <= 1 && dot(e2, q) / det > 0)
            return true;
    }
    return false;
}

Picture render(ScratchDir& dir, const std::string& name, const std::vector<std::string>& extra,
               RunResult* runOut = nullptr)
{
    std::vector<std::string> args = {"render", bunnyPath(), "-o", dir.path(name)};
    args.insert(args.end(), extra.begin(), extra.end());
    const RunResult run = runTrelm(args);
    EXPECT_EQ(run.status, 0) << run.err;
    if (runOut)
        *runOut = run;
    Picture picture;
    EXPECT_TRUE(readPng(dir.path(name), picture)) << name;
    return picture;
}

TEST(trelmRender, coverageMatchesBruteForceRayCastingOfTheSubPixelRays)
{
    const int width = 40, height = 30;
    ScratchDir dir;
    RunResult run;
    const Picture picture =
        render(dir, "b.png", {"--size", "40x30", "--samples", "4", "--azimuth", "-50"}, &run);
    ASSERT_EQ(picture.width, width);
    ASSERT_EQ(picture.height, height);

    const oxGeom::CompactMesh mesh = readMesh(bunnyPath());
    const ViewRays view = frame(mesh, -50.0, 20.0, 55.0, width, height);
    char eyeText[120];
    std::snprintf(eyeText, sizeof eyeText, "eye (%.6g, %.6g, %.6g)", view.eye.x, view.eye.y,
                  view.eye.z);
    EXPECT_NE(run.out.find(eyeText), std::string::npos) << run.out << " vs " << eyeText;

    // The tool traces from the eye rounded to float.
    const Vec origin{float(view.eye.x), float(view.eye.y), float(view.eye.z)};
    const double offsets[4][2] = {{0.25, 0.25}, {0.75, 0.25}, {0.25, 0.75}, {0.75, 0.75}};
    int mismatches = 0, covered = 0, empty = 0;
    for (int row = 0; row < height; ++row)
        for (int column = 0; column < width; ++column)
        {
            int hits = 0;
            for (const auto& offset : offsets)
                hits += rayHitsMesh(mesh, view, origin,
                                    view.direction(column + offset[0], height - 1 - row + offset[1],
                                                   width, height))
                            ? 1
                            : 0;
            const int alpha = picture.pixel(column, row)[3];
            mismatches += std::abs(hits - (alpha * 4 + 127) / 255);
            covered += alpha == 255 ? 1 : 0;
            empty += alpha == 0 ? 1 : 0;
        }
    // Sub-pixel rays that graze an edge may go either way between float and double arithmetic.
    EXPECT_LE(mismatches, width * height * 4 / 200);
    EXPECT_GT(covered, width * height / 10);
    EXPECT_GT(empty, width * height / 10);
}

TEST(trelmRender, shadingVariesAndDoesNotDependOnTheThreadCount)
{
    ScratchDir dir;
    const Picture one =
        render(dir, "one.png", {"--size", "64x48", "--samples", "16", "--threads", "1"});
    render(dir, "three.png", {"--size", "64x48", "--samples", "16", "--threads", "3"});
    EXPECT_EQ(readFile(dir.path("one.png")), readFile(dir.path("three.png")));
    std::set<int> greys;
    for (int y = 0; y < one.height; ++y)
        for (int x = 0; x < one.width; ++x)
            if (one.pixel(x, y)[3] == 255)
                greys.insert(one.pixel(x, y)[1]);
    EXPECT_GT(greys.size(), 20u);  // occlusion and light give many shades
}

TEST(trelmRender, curvatureColoursAndSolidBackground)
{
    ScratchDir dir;
    const Picture picture = render(
        dir, "k.png",
        {"--size", "64x48", "--samples", "0", "--color", "curvature", "--background", "ffffff"});
    int reddish = 0, bluish = 0;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
        {
            const std::uint8_t* p = picture.pixel(x, y);
            EXPECT_EQ(p[3], 255);
            reddish += p[0] > p[2] + 30 ? 1 : 0;
            bluish += p[2] > p[0] + 30 ? 1 : 0;
        }
    EXPECT_GT(reddish, 20);  // convex parts (most of the bunny)
    EXPECT_GT(bluish, 2);    // concave creases
    const std::uint8_t* corner = picture.pixel(0, 0);
    EXPECT_TRUE(corner[0] == 255 && corner[1] == 255 && corner[2] == 255);

    const RunResult wrongName = runTrelm({"render", bunnyPath(), "-o", dir.path("k.jpg")});
    EXPECT_EQ(wrongName.status, 1);
    EXPECT_FALSE(fileExists(dir.path("k.jpg")));
}
}  // namespace
