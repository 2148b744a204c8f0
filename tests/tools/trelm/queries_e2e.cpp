// trelm closest and raycast against brute force over every triangle, on the bunny and on real
// meshes: seeded query points near, inside and far from the surface, and rays that hit, miss
// and start inside.

#include "trelmRunner.h"

#include <oxGeom/MeshCoord.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <random>

namespace
{
using namespace clitest;

std::vector<std::string> queryMeshes()
{
    std::vector<std::string> paths = {bunnyPath()};
    for (const char* relative : {"STL/sphereWithHole.stl", "OFF/Wuson.off"})
        if (!assimpModel(relative).empty())
            paths.push_back(assimpModel(relative));
    return paths;
}

struct Box
{
    double low[3] = {DBL_MAX, DBL_MAX, DBL_MAX};
    double high[3] = {-DBL_MAX, -DBL_MAX, -DBL_MAX};
    double size() const { return std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]}); }
};

Box boxOf(const oxGeom::CompactMesh& mesh)
{
    Box box;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        for (int k = 0; k < 3; ++k)
        {
            box.low[k] = std::min(box.low[k], double(mesh.getVertices()[v][k]));
            box.high[k] = std::max(box.high[k], double(mesh.getVertices()[v][k]));
        }
    return box;
}

// Points as floats printed exactly, so that the tool and the oracle see the same values.
std::string writePoints(const std::vector<std::array<float, 3>>& points)
{
    std::string text = "# x y z\n";
    char line[100];
    for (const auto& p : points)
    {
        std::snprintf(line, sizeof line, "%.9g %.9g %.9g\n", p[0], p[1], p[2]);
        text += line;
    }
    return text;
}

double bruteDistance(const oxGeom::CompactMesh& mesh, const oxLinear::Point& p)
{
    double best = DBL_MAX;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        oxGeom::MeshCoord coord;
        if (!coord.project(t, mesh.getVerticesRaw(), mesh.getTrianglesRaw(), p))
            continue;
        const oxLinear::Point q = coord.evaluate(mesh.getVerticesRaw(), mesh.getTrianglesRaw());
        best = std::min(best, oxLinear::distance(p, q));
    }
    return best;
}

TEST(trelmClosest, distancesEqualBruteForceOverEveryTriangle)
{
    for (const std::string& path : queryMeshes())
    {
        SCOPED_TRACE(path);
        const oxGeom::CompactMesh mesh = readMesh(path);
        const Box box = boxOf(mesh);
        std::mt19937 random(7);
        std::uniform_real_distribution<double> unit(-0.25, 1.25);
        std::vector<std::array<float, 3>> points;
        for (int i = 0; i < 60; ++i)  // in and round the box
            points.push_back({float(box.low[0] + unit(random) * (box.high[0] - box.low[0])),
                              float(box.low[1] + unit(random) * (box.high[1] - box.low[1])),
                              float(box.low[2] + unit(random) * (box.high[2] - box.low[2]))});
        for (int i = 0; i < 30; ++i)  // just off a vertex
        {
            const oxGeom::MeshVertex& v =
                mesh.getVertices()[std::size_t(random()) % std::size_t(mesh.getNumVertices())];
            points.push_back({v[0] + float(1e-3 * unit(random) * box.size()),
                              v[1] + float(1e-3 * unit(random) * box.size()), v[2]});
        }
        points.push_back({float(box.high[0] + 10 * box.size()), 0.0f, 0.0f});  // far away
        ScratchDir dir;
        writeFile(dir.path("points.txt"), writePoints(points));
        const RunResult run =
            runTrelm({"closest", path, "--points", dir.path("points.txt"), "--json"});
        ASSERT_EQ(run.status, 0) << run.err;
        const Json answers = parseJson(run.out);
        ASSERT_EQ(answers.items.size(), points.size());
        for (std::size_t i = 0; i < points.size(); ++i)
        {
            const oxLinear::Point p(points[i][0], points[i][1], points[i][2]);
            const Json& a = answers[i];
            const double expected = bruteDistance(mesh, p);
            // The library's distance carries single-precision rounding of the float mesh.
            const double tolerance = 1e-6 * (1.0 + expected);
            EXPECT_NEAR(a["distance"].number, expected, tolerance) << "point " << i;
            // The reported point lies on the reported triangle and at the reported distance.
            const oxLinear::Point nearest(a["nearest"][0].number, a["nearest"][1].number,
                                          a["nearest"][2].number);
            EXPECT_NEAR(oxLinear::distance(p, nearest), a["distance"].number, tolerance);
            const oxGeom::MeshCoord coord(int(a["triangle"].number), a["weights"][0].number,
                                          a["weights"][1].number, a["weights"][2].number);
            const oxLinear::Point onTriangle =
                coord.evaluate(mesh.getVerticesRaw(), mesh.getTrianglesRaw());
            EXPECT_NEAR(oxLinear::distance(onTriangle, nearest), 0.0, 1e-12 * (1 + box.size()));
        }
    }
}

TEST(trelmClosest, pointsOnTheCommandLineAndOnStdinGiveTheSameAnswers)
{
    const RunResult arguments = runTrelm({"closest", bunnyPath(), "-1,2,3", "0.5 6 -1"});
    const RunResult input =
        runTrelm({"closest", bunnyPath(), "--points", "-"}, "-1 2 3\n\n# comment\n0.5,6,-1\n");
    EXPECT_EQ(arguments.status, 0);
    EXPECT_EQ(lines(arguments.out).size(), 2u);
    EXPECT_EQ(arguments.out, input.out);

    const RunResult bad = runTrelm({"closest", bunnyPath(), "--points", "-"}, "1 2 3\n1 2\n");
    EXPECT_EQ(bad.status, 2);
    EXPECT_EQ(bad.err, "trelm: <stdin>: line 2: expected 3 finite numbers\n");
}

// Hit parameter of the ray o + t d on triangle t by Moller-Trumbore in double, with the smallest
// barycentric weight in `margin` (negative outside); NaN when the ray is parallel to it.
double rayTriangle(const oxGeom::CompactMesh& mesh, int triangle, const double o[3],
                   const double d[3], double& margin)
{
    double a[3], e1[3], e2[3];
    for (int k = 0; k < 3; ++k)
    {
        a[k] = mesh.getVertices()[mesh.getTriangles()[triangle][0]][k];
        e1[k] = mesh.getVertices()[mesh.getTriangles()[triangle][1]][k] - a[k];
        e2[k] = mesh.getVertices()[mesh.getTriangles()[triangle][2]][k] - a[k];
    }
    const double p[3] = {d[1] * e2[2] - d[2] * e2[1], d[2] * e2[0] - d[0] * e2[2],
                         d[0] * e2[1] - d[1] * e2[0]};
    const double det = e1[0] * p[0] + e1[1] * p[1] + e1[2] * p[2];
    if (std::fabs(det) < 1e-12)
        return NAN;
    const double s[3] = {o[0] - a[0], o[1] - a[1], o[2] - a[2]};
    const double u = (s[0] * p[0] + s[1] * p[1] + s[2] * p[2]) / det;
    const double q[3] = {s[1] * e1[2] - s[2] * e1[1], s[2] * e1[0] - s[0] * e1[2],
                         s[0] * e1[1] - s[1] * e1[0]};
    const double v = (d[0] * q[0] + d[1] * q[1] + d[2] * q[2]) / det;
    margin = std::min({u, v, 1.0 - u - v});
    return (e2[0] * q[0] + e2[1] * q[1] + e2[2] * q[2]) / det;
}

TEST(trelmRaycast, nearestHitsEqualBruteForceWhereTheAnswerIsClearCut)
{
    for (const std::string& path : queryMeshes())
    {
        SCOPED_TRACE(path);
        const oxGeom::CompactMesh mesh = readMesh(path);
        const Box box = boxOf(mesh);
        std::mt19937 random(11);
        std::uniform_real_distribution<double> unit(0.0, 1.0);
        std::string rays;
        std::vector<std::array<double, 6>> queries;
        for (int i = 0; i < 120; ++i)
        {
            // From outside the box towards a point of (a box a little larger than) the box, or,
            // for every fourth ray, from a point inside the box in any direction.
            double from[3], to[3];
            for (int k = 0; k < 3; ++k)
            {
                const double extent = box.high[k] - box.low[k];
                to[k] = box.low[k] + (1.2 * unit(random) - 0.1) * extent;
                from[k] = i % 4 == 0 ? box.low[k] + unit(random) * extent
                                     : to[k] + (unit(random) - 0.5) * 6.0 * box.size();
            }
            std::array<double, 6> ray;
            for (int k = 0; k < 3; ++k)
            {
                ray[std::size_t(k)] = double(float(from[k]));
                ray[std::size_t(k + 3)] = to[k] - from[k];
            }
            queries.push_back(ray);
            char line[200];
            std::snprintf(line, sizeof line, "%.9g %.9g %.9g %.17g %.17g %.17g\n", ray[0], ray[1],
                          ray[2], ray[3], ray[4], ray[5]);
            rays += line;
        }
        const RunResult run = runTrelm({"raycast", path, "--rays", "-", "--json"}, rays);
        ASSERT_EQ(run.status, 0) << run.err;
        const Json hits = parseJson(run.out);
        ASSERT_EQ(hits.items.size(), queries.size());
        int judged = 0, hitCount = 0;
        for (std::size_t i = 0; i < queries.size(); ++i)
        {
            const double* o = queries[i].data();
            const double* d = o + 3;
            double nearest = DBL_MAX, nearestMargin = 0.0, closeCall = DBL_MAX;
            int nearestTriangle = -1;
            for (int t = 0; t < mesh.getNumTriangles(); ++t)
            {
                double margin = 0.0;
                const double tHit = rayTriangle(mesh, t, o, d, margin);
                if (!(tHit > 1e-4))
                    continue;
                if (margin >= 0.0 && tHit < nearest)
                {
                    nearest = tHit;
                    nearestTriangle = t;
                    nearestMargin = margin;
                }
                if (std::fabs(margin) < 1e-5)  // grazes an edge: rounding decides
                    closeCall = std::min(closeCall, tHit);
            }
            const bool hit = nearestTriangle >= 0;
            if (closeCall < nearest || (hit && nearestMargin < 1e-5))
                continue;
            ++judged;
            hitCount += hit ? 1 : 0;
            const Json& h = hits[i];
            ASSERT_EQ(h["hit"].boolean, hit) << "ray " << i;
            if (!hit)
                continue;
            EXPECT_NEAR(h["t"].number, nearest, 1e-5 * nearest) << "ray " << i;
            EXPECT_EQ(h["triangle"].number, nearestTriangle) << "ray " << i;
            for (int k = 0; k < 3; ++k)
                EXPECT_NEAR(h["point"][k].number, o[k] + nearest * d[k], 1e-5 * box.size());
        }
        EXPECT_GT(judged, 100);
        EXPECT_GT(hitCount, 20);
        EXPECT_LT(hitCount, judged - 20);
    }
}
}  // namespace
