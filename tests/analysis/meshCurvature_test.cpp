// meshCurvature: convergence to the analytic curvatures of a sphere and a torus (tables
// printed), quadric points, a plane, the placement rules, an independent fan-by-fan oracle,
// the boundary passes, thread-count independence, the sign rule, the diagnostic lines and the
// degenerate inputs.

#include <oxGeom/meshCurvature.h>

#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshNormals.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <vector>

namespace
{
using oxGeom::CompactMesh;
using oxGeom::MeshCurvature;
using Field = std::function<double(double, double)>;

constexpr MeshCurvature allKinds[] = {oxGeom::MeanCurvature, oxGeom::GaussianCurvature,
                                      oxGeom::MinCurvature, oxGeom::MaxCurvature};

// A mesh with its vertex normals and adjacency tables.
struct Surface
{
    explicit Surface(CompactMesh m) : mesh(std::move(m))
    {
        oxGeom::meshComputeNormals(mesh);
        oxGeom::meshAdjTris(mesh, adjTris);
        oxGeom::meshAdjVertices(mesh, adjTris, adjVertices);
    }
    std::vector<float> curvature(MeshCurvature kind, const oxLinear::AffineMatrixFlt& at = {}) const
    {
        std::vector<float> values(mesh.getNumVertices(), -99.0f);
        oxGeom::meshCurvature(mesh, adjTris, adjVertices, at, kind, values.data());
        return values;
    }
    bool closedFan(int v) const { return adjVertices.numNeighbours(v) == adjTris.numTris(v); }
    CompactMesh mesh;
    oxGeom::MeshAdjTris adjTris;
    oxGeom::MeshAdjVertices adjVertices;
};

// Torus about z, radii R and r, nu x nv quads wound outward; vertex j nu + i sits at the
// angles u = 2 pi i / nu about the axis and v = 2 pi j / nv about the tube.
CompactMesh torus(int nu, int nv, double R, double r)
{
    std::vector<oxGeom::MeshVertex> vertices;
    std::vector<int> triangles;
    for (int j = 0; j < nv; ++j)
        for (int i = 0; i < nu; ++i)
        {
            const double u = 2 * M_PI * i / nu, v = 2 * M_PI * j / nv, w = R + r * std::cos(v);
            vertices.push_back(
                {{float(w * std::cos(u)), float(w * std::sin(u)), float(r * std::sin(v))}});
            const int a = j * nu + i, b = j * nu + (i + 1) % nu, d = (j + 1) % nv * nu + i;
            const int c = (j + 1) % nv * nu + (i + 1) % nu;
            triangles.insert(triangles.end(), {a, b, c, a, c, d});
        }
    CompactMesh mesh(int(vertices.size()), vertices.data(), nullptr, nullptr, nullptr);
    mesh.copyTriangles(int(triangles.size() / 3), triangles.data());
    return mesh;
}

// gridMesh(n, n) centred on the origin, spacing h, lifted to z = f(x, y); faces +z.
CompactMesh heightField(int n, double h, const Field& f)
{
    CompactMesh mesh = fixtures::gridMesh(n, n);
    float* p = mesh.getVerticesRaw();
    for (int i = 0; i < mesh.getNumVertices(); ++i, p += 3)
    {
        const double x = (p[0] - n / 2) * h, y = (p[1] - n / 2) * h;
        p[0] = float(x), p[1] = float(y), p[2] = float(f(x, y));
    }
    return mesh;
}

double maxError(const std::vector<float>& values, const std::function<double(int)>& exact)
{
    double worst = 0;
    for (int v = 0; v < int(values.size()); ++v)
        worst = std::max(worst, std::fabs(values[v] - exact(v)));
    return worst;
}

double angle(const double* a, const double* b, const double* c)  // at a, in (b, a, c)
{
    double u[3], w[3];
    for (int k = 0; k < 3; ++k)
        u[k] = b[k] - a[k], w[k] = c[k] - a[k];
    const double uu = u[0] * u[0] + u[1] * u[1] + u[2] * u[2];
    const double ww = w[0] * w[0] + w[1] * w[1] + w[2] * w[2];
    return std::acos((u[0] * w[0] + u[1] * w[1] + u[2] * w[2]) / std::sqrt(uu * ww));
}

double dist2(const double* a, const double* b)
{
    return (a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
           (a[2] - b[2]) * (a[2] - b[2]);
}

// H and K of a closed fan by another route: the fan ordered by sortAdjTris, cotangents paired
// across each shared edge, angles by acos, areas by Heron, obtuseness decided by angle.
// `cases` counts the triangles met per mixed-area case.
void fanOracle(const Surface& s, int v, double& H, double& K, int cases[3])
{
    const float* raw = s.mesh.getVerticesRaw();
    const int* tris = s.mesh.getTrianglesRaw();
    auto at = [&](int i, double* p) { std::copy(raw + 3 * i, raw + 3 * i + 3, p); };
    std::vector<int> fan;
    oxGeom::sortAdjTris(v, s.adjTris.numTris(v), s.adjTris.triIndices(v), s.mesh.getTriangles(),
                        fan);
    auto corners = [&](int i, double* q, double* r)  // the corners after v in fan[i]
    {
        const int* t = tris + 3 * fan[i % fan.size()];
        const int k = t[0] == v ? 0 : t[1] == v ? 1 : 2;
        at(t[(k + 1) % 3], q);
        at(t[(k + 2) % 3], r);
    };
    double p[3], m[3] = {0, 0, 0}, theta = 0, area = 0;
    at(v, p);
    for (size_t i = 0; i < fan.size(); ++i)
    {
        double q[3], r[3], next[3], unused[3];
        corners(i, q, r);
        corners(i + 1, unused, next);  // the next triangle is (v, r, next)
        const double av = angle(p, q, r), aq = angle(q, r, p), ar = angle(r, p, q);
        const double a = std::sqrt(dist2(p, q)), b = std::sqrt(dist2(q, r)),
                     c = std::sqrt(dist2(r, p)), h = (a + b + c) / 2;
        const double heron = std::sqrt(h * (h - a) * (h - b) * (h - c));
        const int which = std::max({av, aq, ar}) <= M_PI / 2 ? 0 : av > M_PI / 2 ? 1 : 2;
        ++cases[which];
        area += which == 0   ? (a * a / std::tan(ar) + c * c / std::tan(aq)) / 8
                : which == 1 ? heron / 2
                             : heron / 4;
        theta += av;
        const double weight = 1 / std::tan(aq) + 1 / std::tan(angle(next, p, r));
        for (int k = 0; k < 3; ++k)
            m[k] += weight * (p[k] - r[k]);
    }
    const float* n = s.mesh.getNormalsRaw() + 3 * v;
    const double length = std::sqrt(m[0] * m[0] + m[1] * m[1] + m[2] * m[2]);
    H = (m[0] * n[0] + m[1] * n[1] + m[2] * n[2] < 0 ? -length : length) / (4 * area);
    K = (2 * M_PI - theta) / area;
}
}  // namespace

TEST(meshCurvature, sphereConvergesToInverseRadius)
{
    // Relative errors shrink with the edge length h until they meet the rounding of the float
    // positions, which perturbs a second difference by about FLT_EPSILON (r / h)^2.
    const double r = 2.0;
    double previous[4] = {1e9, 1e9, 1e9, 1e9};
    std::printf("icosphere r = 2: max relative error of H, K, kmin, kmax; rounding floor\n");
    for (int s = 2; s <= 6; ++s)
    {
        const Surface sphere(fixtures::icosphere(s, float(r)));
        const float* p = sphere.mesh.getVerticesRaw();
        const int* t = sphere.mesh.getTrianglesRaw();
        const float *a = p + 3 * t[0], *b = p + 3 * t[1];
        const double h = std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
        const double floor = 8 * FLT_EPSILON * (r / h) * (r / h);
        double errors[4];
        for (int kind = 0; kind < 4; ++kind)
        {
            const double exact = kind == 1 ? 1 / (r * r) : 1 / r;
            errors[kind] =
                maxError(sphere.curvature(allKinds[kind]), [&](int) { return exact; }) / exact;
            EXPECT_LT(errors[kind], std::max(0.6 * previous[kind], floor)) << s << " " << kind;
            previous[kind] = errors[kind];
        }
        std::printf("  level %d  %6d vertices  %.1e  %.1e  %.1e  %.1e;  %.1e\n", s,
                    sphere.mesh.getNumVertices(), errors[0], errors[1], errors[2], errors[3],
                    floor);
    }
    EXPECT_LT(previous[0], 5e-4);
    EXPECT_LT(previous[1], 1e-3);
    EXPECT_LT(previous[2], 0.02);
    EXPECT_LT(previous[3], 0.02);
}

TEST(meshCurvature, torusGaussianChangesSignAndMeanMatches)
{
    const double R = 3, r = 1;
    double previous[2] = {1e9, 1e9};
    std::printf("torus R = 3, r = 1: max error of H, K\n");
    for (int n : {24, 48, 96})
    {
        const Surface t(torus(2 * n, n, R, r));
        const std::vector<float> H = t.curvature(oxGeom::MeanCurvature);
        const std::vector<float> K = t.curvature(oxGeom::GaussianCurvature);
        auto cosV = [&](int v) { return std::cos(2 * M_PI * (v / (2 * n)) / n); };
        const double errors[2] = {
            maxError(H, [&](int v) { return (R + 2 * r * cosV(v)) / (2 * r * (R + r * cosV(v))); }),
            maxError(K, [&](int v) { return cosV(v) / (r * (R + r * cosV(v))); })};
        std::printf("  %3d x %3d  %.2e  %.2e\n", 2 * n, n, errors[0], errors[1]);
        for (int k = 0; k < 2; ++k)
        {
            EXPECT_LT(errors[k], 0.4 * previous[k]) << n;
            previous[k] = errors[k];
        }
        for (int v = 0; v < t.mesh.getNumVertices(); ++v)
        {
            if (std::fabs(cosV(v)) > 0.2)
            {
                EXPECT_EQ(K[v] > 0, cosV(v) > 0) << v;
            }
        }
    }
    EXPECT_LT(previous[0], 2e-4);
    EXPECT_LT(previous[1], 5e-4);
}

TEST(meshCurvature, quadricPointsOrderPrincipalCurvatures)
{
    // At the origin, normals +z: z = (x^2 + 2y^2)/2 bends by -1 and -2 (H = -1.5, K = 2);
    // z = (x^2 - 3y^2)/2 by -1 and +3 (H = 1, K = -3), the larger from the other root.
    const Field bowl = [](double x, double y) { return (x * x + 2 * y * y) / 2; };
    const Field saddle = [](double x, double y) { return (x * x - 3 * y * y) / 2; };
    const double expected[2][4] = {{-1.5, 2, -1, -2}, {1, -3, -1, 3}};
    for (int i = 0; i < 2; ++i)
    {
        const Surface s(heightField(8, 0.01, i == 0 ? bowl : saddle));
        for (int kind = 0; kind < 4; ++kind)
            EXPECT_NEAR(s.curvature(allKinds[kind])[4 * 9 + 4], expected[i][kind], 2e-3) << kind;
    }
}

TEST(meshCurvature, placementScalesRotatesMirrorsAndNormalsSignTheMean)
{
    const Surface sphere(fixtures::icosphere(3, 1.0f)), plane(fixtures::gridMesh(6, 5));
    const float c = std::cos(0.7f), s = std::sin(0.7f), k = 2.5f;
    const float rows[3][12] = {{k, 0, 0, 0, k, 0, 0, 0, k, 1, -2, 3},   // scale and move
                               {c, s, 0, -s, c, 0, 0, 0, 1, 5, 5, 5},   // rotate and move
                               {-1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}};  // mirror
    for (int i = 0; i < 3; ++i)
        for (int kind = 0; kind < 4; ++kind)
        {
            const oxLinear::AffineMatrixFlt placement(rows[i]);
            const double divisor = i > 0 ? 1 : kind == 1 ? k * k : k;
            const std::vector<float> plain = sphere.curvature(allKinds[kind]);
            const std::vector<float> placed = sphere.curvature(allKinds[kind], placement);
            for (size_t v = 0; v < plain.size(); ++v)
                EXPECT_NEAR(placed[v], plain[v] / divisor, 2e-4 * std::fabs(plain[v])) << i << kind;
            for (float value : plane.curvature(allKinds[kind], placement))
                EXPECT_NEAR(value, 0.0f, 1e-6) << i << kind;
        }

    // The normals give H its sign (K is unsigned); without normals H is the magnitude.
    Surface flipped(sphere.mesh);
    const std::vector<float> outward = sphere.curvature(oxGeom::MeanCurvature);
    float* n = flipped.mesh.getNormalsRaw();
    std::transform(n, n + 3 * flipped.mesh.getNumVertices(), n, [](float x) { return -x; });
    const std::vector<float> inward = flipped.curvature(oxGeom::MeanCurvature);
    EXPECT_EQ(flipped.curvature(oxGeom::GaussianCurvature),
              sphere.curvature(oxGeom::GaussianCurvature));
    flipped.mesh.deleteNormals();
    const std::vector<float> magnitude = flipped.curvature(oxGeom::MeanCurvature);
    for (size_t v = 0; v < outward.size(); ++v)
    {
        EXPECT_GT(outward[v], 0.0f);
        EXPECT_EQ(inward[v], -outward[v]);
        EXPECT_EQ(magnitude[v], outward[v]);
    }
}

TEST(meshCurvature, closedFansMatchTheFanOracle)
{
    // Vertices pushed about by up to a third of an edge: all three mixed-area cases occur.
    CompactMesh mesh = fixtures::icosphere(2, 1.0f);
    std::mt19937 random(5);
    std::uniform_real_distribution<float> jitter(-0.1f, 0.1f);
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] += jitter(random);
    const Surface s(std::move(mesh));
    const std::vector<float> H = s.curvature(oxGeom::MeanCurvature);
    const std::vector<float> K = s.curvature(oxGeom::GaussianCurvature);
    int cases[3] = {0, 0, 0};
    for (int v = 0; v < s.mesh.getNumVertices(); ++v)
    {
        double h, g;
        fanOracle(s, v, h, g, cases);
        EXPECT_NEAR(H[v], h, 1e-5 * (1 + std::fabs(h))) << v;
        EXPECT_NEAR(K[v], g, 1e-5 * (1 + std::fabs(g))) << v;
    }
    for (int i = 0; i < 3; ++i)
        EXPECT_GT(cases[i], 5) << "mixed-area case " << i;
}

TEST(meshCurvature, boundaryPassesSameForEveryThreadCount)
{
    // Grid corners (n, 0) and (0, n) have one triangle and two neighbours (second pass); the
    // other edge vertices have three or more (first pass).
    const int n = 12;
    const Surface s(heightField(n, 0.1, [](double x, double y) { return std::sin(3 * x + y); }));
    auto mean = [&](const std::vector<float>& values, int v, const std::function<bool(int)>& use)
    {
        double sum = 0;
        int count = 0;
        for (int j = 0; j < s.adjVertices.numNeighbours(v); ++j)
        {
            const int u = s.adjVertices.neighbours(v)[j];
            if (use(u))
                sum += values[u], ++count;
        }
        return count ? float(sum / count) : 0.0f;
    };
    for (MeshCurvature kind : allKinds)
    {
        std::vector<float> first;
        for (int threads : testsupport::threadCounts)
        {
            testsupport::PoolThreads pool(threads);
            const std::vector<float> values = s.curvature(kind);
            first = first.empty() ? values : first;
            EXPECT_EQ(values, first) << kind << ", " << threads << " threads";
        }
        int filled[2] = {0, 0};
        for (int v = 0; v < s.mesh.getNumVertices(); ++v)
        {
            if (s.closedFan(v))
                continue;
            const bool second = s.adjVertices.numNeighbours(v) <= 2;
            ++filled[second];
            const float expected =
                second ? mean(first, v, [&](int u) { return s.adjVertices.numNeighbours(u) > 2; })
                       : mean(first, v, [&](int u) { return s.closedFan(u); });
            EXPECT_EQ(first[v], expected) << v;
            EXPECT_NE(first[v], 0.0f) << v;
        }
        EXPECT_EQ(filled[0], 4 * n - 2);
        EXPECT_EQ(filled[1], 2);
    }
}

TEST(meshCurvature, diagnosticLinesAndPlacementPath)
{
    const Surface tetrahedron(fixtures::tetrahedron());
    testsupport::DebugCapture capture;
    const std::vector<float> plain = tetrahedron.curvature(oxGeom::MeanCurvature);
    const std::string header = "meshCurvature:  vertices 4  triangles 4\n";
    const std::string phases =
        " cotangents computed in: # s\n  interior curvature computed: # s\n"
        "  boundary curvature computed: # s\n";
    EXPECT_EQ(capture.text(), header + phases);

    // Within epsilonTolFlt of the identity the mesh's own arrays are read: same bits, no copy.
    oxLinear::AffineMatrixFlt nearIdentity;
    nearIdentity[0][0] = 1.0f + 5e-7f;
    nearIdentity[3][2] = -8e-7f;
    capture.clear();
    EXPECT_EQ(tetrahedron.curvature(oxGeom::MeanCurvature, nearIdentity), plain);
    EXPECT_EQ(capture.text(), header + phases);

    nearIdentity[3][2] = 2e-6f;
    capture.clear();
    tetrahedron.curvature(oxGeom::MeanCurvature, nearIdentity);
    EXPECT_EQ(capture.text(), header + "meshTransform: 4 points, # s\n" +
                                  "meshTransformNormals: 4 normals, # s\n" + phases);
}

TEST(meshCurvature, emptyInvalidAndDegenerateInput)
{
    const Surface tetrahedron(fixtures::tetrahedron());
    testsupport::DebugCapture capture;
    oxGeom::meshCurvature(tetrahedron.mesh, tetrahedron.adjTris, tetrahedron.adjVertices, {},
                          oxGeom::MeanCurvature, nullptr);
    EXPECT_EQ(tetrahedron.curvature(MeshCurvature(7)), std::vector<float>(4, 0.0f));
    EXPECT_EQ(capture.text(), "");
    EXPECT_TRUE(Surface(fixtures::emptyMesh()).curvature(oxGeom::MeanCurvature).empty());

    // Squashed to a point: closed fans of zero area give non-finite values.
    CompactMesh point = fixtures::tetrahedron();
    std::fill(point.getVerticesRaw(), point.getVerticesRaw() + 12, 0.5f);
    for (MeshCurvature kind : allKinds)
        for (float value : Surface(point).curvature(kind))
            EXPECT_FALSE(std::isfinite(value)) << kind;

    // Tables of a larger mesh, and a corner past the vertices: nothing is read outside the
    // arrays (the sanitizer build checks that), and a vertex on no triangle gets 0.
    CompactMesh small = fixtures::tetrahedron();
    small.resizeVertexArray(5);
    small.getTrianglesRaw()[2] = 1000;
    const Surface sphere(fixtures::icosphere(1, 1.0f)), own(small);
    std::vector<float> values(5, -1.0f);
    oxGeom::meshCurvature(small, sphere.adjTris, sphere.adjVertices, {}, oxGeom::MeanCurvature,
                          values.data());
    EXPECT_EQ(own.curvature(oxGeom::GaussianCurvature)[4], 0.0f);
}
