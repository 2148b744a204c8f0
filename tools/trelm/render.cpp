// trelm render: a picture of a mesh lit by ambient occlusion, traced with the library's packet
// ray tracer. Each pixel casts one packet of four primary rays from the eye (a 2 x 2 grid of
// sub-pixel samples, which share the eye as origin as QuadRay wants), and from its first hit
// packets of occlusion rays in first-hit mode, spread over the hemisphere by a Hammersley point
// set mapped onto the sphere cap and rotated per pixel (Cranley-Patterson rotation by scrambled
// radical inverses), so neighbouring pixels trade banding for fine noise.
// Based on: Zhukov, Iones and Kronin 1998 (ambient obscurance); Keller 1997 (Hammersley points
// for rendering); Cranley and Patterson 1976 (randomised quasi-Monte Carlo).

#include "commands.h"
#include "meshEdits.h"
#include "pngWrite.h"
#include "progressBar.h"

#include <oxGeom/AngleAspect.h>
#include <oxGeom/Hammersley.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>
#include <oxGeom/QuadRay.h>
#include <oxGeom/Viewport.h>
#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshCurvature.h>
#include <oxGeom/meshNormals.h>
#include <oxGeom/sampling.h>
#include <oxLinear/AffineMatrix.h>
#include <oxLinear/Point2.h>
#include <oxLinear/ProjMatrix.h>
#include <oxUtil/ThreadPool.h>
#include <oxUtil/ThreadedAlg.h>

#include <CLI/CLI.hpp>

#include <strings.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <optional>
#include <vector>

namespace trelm::cli
{
namespace
{
constexpr double pi = 3.14159265358979323846;

struct RenderOptions
{
    std::string input;
    std::string output;
    std::string size = "800x600";
    int samples = 64;
    std::string color = "none";
    bool flat = false;
    double azimuth = 30.0;
    double elevation = 20.0;
    double fov = 55.0;
    std::string up = "y";
    std::string background = "transparent";
};

using Colour = std::array<float, 3>;

// ---- camera ----

// A pinhole camera and the transforms from window coordinates to world rays.
struct Camera
{
    oxLinear::Point eye;
    oxLinear::Point target;
    oxLinear::Vector viewUp;  // the picture's up direction, in the world
    double distance = 0.0;
    oxGeom::AngleAspect lens;
    oxLinear::AffineMatrix2 windowToNdc;
    oxLinear::ProjMatrix inverseProjection;
    oxLinear::AffineMatrix eyeToWorld;

    // Unit direction of the ray through window point (x, y) (pixels, y up from the bottom).
    oxLinear::Vector rayDirection(double x, double y) const
    {
        const oxLinear::Point2 ndc = oxLinear::Point2(x, y) * windowToNdc;
        const oxLinear::Point onNear = oxLinear::Point(ndc[0], ndc[1], -1.0) * inverseProjection;
        return (oxLinear::Vector(onNear) * eyeToWorld).normalized();
    }
};

struct UpAxis
{
    oxLinear::Vector up;
    oxLinear::Vector front;  // the side a view of azimuth 0 looks from
};

UpAxis parseUpAxis(const std::string& text)
{
    const bool negative = !text.empty() && text[0] == '-';
    const std::string axis = text.substr(!text.empty() && (text[0] == '-' || text[0] == '+'));
    UpAxis result;
    if (axis == "x")
        result = {oxLinear::Vector(1, 0, 0), oxLinear::Vector(0, 1, 0)};
    else if (axis == "y")
        result = {oxLinear::Vector(0, 1, 0), oxLinear::Vector(0, 0, 1)};
    else if (axis == "z")
        result = {oxLinear::Vector(0, 0, 1), oxLinear::Vector(0, -1, 0)};
    else
        throw ToolError(ExitFailure, "--up must be x, y or z, optionally with a sign");
    if (negative)
        result.up = -result.up;
    return result;
}

// The view: the eye looks at the centre of the bounding box, from the distance at which the
// sphere about that centre through the farthest vertex just fits the narrower angle of view,
// so that no part of the mesh is cut off whatever the direction.
Camera frameMesh(const oxGeom::CompactMesh& mesh, const RenderOptions& options, int width,
                 int height)
{
    Camera camera;
    oxGeom::BoundingBox box;
    oxGeom::meshBoundingBox(mesh, box);
    if (box.isValid())  // an empty mesh is framed as a point at the origin
        camera.target =
            oxLinear::Point(0.5 * (double(box[0]) + box[3]), 0.5 * (double(box[1]) + box[4]),
                            0.5 * (double(box[2]) + box[5]));
    double radius = 0.0;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
    {
        const oxGeom::MeshVertex& p = mesh.getVertices()[v];
        radius =
            std::max(radius, oxLinear::distance(camera.target, oxLinear::Point(p[0], p[1], p[2])));
    }
    if (!(radius > 0.0))
        radius = 1.0;  // a single point: any scale will do

    const UpAxis axis = parseUpAxis(options.up);
    const oxLinear::Vector right0 = oxLinear::cross(axis.up, axis.front);
    const double az = options.azimuth * pi / 180.0, el = options.elevation * pi / 180.0;
    const oxLinear::Vector towardEye =
        std::cos(el) * (std::cos(az) * axis.front + std::sin(az) * right0) + std::sin(el) * axis.up;
    const oxLinear::Vector right = std::cos(az) * right0 - std::sin(az) * axis.front;

    const double aspect = double(width) / double(height);
    const double halfVertical = 0.5 * options.fov * pi / 180.0;
    const double halfHorizontal = std::atan(std::tan(halfVertical) * aspect);
    camera.distance = radius / std::sin(std::min(halfVertical, halfHorizontal));
    camera.eye = camera.target + camera.distance * towardEye;

    camera.lens.setAngleOfViewRad(2.0 * halfVertical);
    camera.lens.setAspectRatio(aspect);
    camera.lens.setDepthRange(std::max(camera.distance - radius, 1e-3 * camera.distance),
                              camera.distance + radius);
    oxLinear::ProjMatrix projection;
    camera.lens.getMatrix(projection, false);
    projection.inverse(camera.inverseProjection);

    oxGeom::Viewport viewport;
    viewport.setSize(width, height);
    viewport.getInverseViewTransform(camera.windowToNdc);
    camera.eyeToWorld.setFrame(camera.eye, right, towardEye);
    camera.viewUp = camera.eyeToWorld.getRow(1);
    return camera;
}

// ---- the scene ----

struct Scene
{
    oxGeom::CompactMesh mesh;     // positions welded, so that normals are smooth over seams
    std::vector<Colour> colours;  // per vertex; empty for the plain clay colour
    oxGeom::Octree octree;
    oxGeom::OctreeTris tris;
    oxLinear::Vector toLight;  // towards the light, unit
    double offset = 0.0;       // how far occlusion rays start off the surface
    bool flat = false;
};

// Blue through grey to red for t in [-1, 1] (concave to convex).
Colour divergingColour(float t)
{
    const Colour neutral = {0.80f, 0.80f, 0.80f}, cold = {0.10f, 0.25f, 0.80f},
                 warm = {0.80f, 0.12f, 0.08f};
    const Colour& end = t < 0.0f ? cold : warm;
    const float s = std::min(1.0f, std::fabs(t));
    return {neutral[0] + s * (end[0] - neutral[0]), neutral[1] + s * (end[1] - neutral[1]),
            neutral[2] + s * (end[2] - neutral[2])};
}

std::vector<Colour> curvatureColours(const oxGeom::CompactMesh& mesh)
{
    oxGeom::MeshAdjTris adjTris;
    oxGeom::meshAdjTris(mesh, adjTris);
    oxGeom::MeshAdjVertices adjVertices;
    oxGeom::meshAdjVertices(mesh, adjTris, adjVertices);
    std::vector<float> curvature(std::size_t(mesh.getNumVertices()), 0.0f);
    oxGeom::meshCurvature(mesh, adjTris, adjVertices, oxLinear::AffineMatrixFlt(1.0f),
                          oxGeom::MeanCurvature, curvature.data());
    // Scale by the 95th percentile of |H| so that a few sharp corners do not wash out the rest.
    std::vector<float> magnitudes;
    for (float h : curvature)
        if (std::isfinite(h))
            magnitudes.push_back(std::fabs(h));
    float scale = 1.0f;
    if (!magnitudes.empty())
    {
        const std::size_t k = std::size_t(0.95 * double(magnitudes.size() - 1));
        std::nth_element(magnitudes.begin(), magnitudes.begin() + k, magnitudes.end());
        scale = magnitudes[k] > 0.0f ? magnitudes[k] : 1.0f;
    }
    std::vector<Colour> colours;
    colours.reserve(curvature.size());
    for (float h : curvature)
        colours.push_back(divergingColour(std::isfinite(h) ? h / scale : 0.0f));
    return colours;
}

void buildScene(Scene& scene, const oxGeom::CompactMesh& input, const RenderOptions& options,
                const Camera& camera, CommandProgress& progress)
{
    scene.mesh = weldedSurface(input, progress.stage("Welding"));
    progress.throwIfInterrupted();
    progress.stage("Preparing");
    oxGeom::meshComputeNormals(scene.mesh);
    if (options.color == "curvature")
        scene.colours = curvatureColours(scene.mesh);
    oxGeom::BoundingBox bounds;
    oxGeom::meshBoundingBox(scene.mesh, bounds);
    scene.octree =
        oxGeom::Octree(scene.mesh.getNumVertices(), scene.mesh.getVerticesRaw(), bounds, true, 16);
    oxGeom::computeOctreeTris(scene.mesh, scene.octree, scene.tris);
    // A light over the viewer's left shoulder.
    scene.toLight = (oxLinear::Vector(-0.7, 0.6, 0.4) * camera.eyeToWorld).normalized();
    const double size = std::max({double(bounds[3]) - bounds[0], double(bounds[4]) - bounds[1],
                                  double(bounds[5]) - bounds[2]});
    scene.offset = 1e-4 * (size > 0.0 ? size : 1.0);
    scene.flat = options.flat;
}

// ---- shading ----

// Sub-pixel sample offsets: a 2 x 2 grid inside the pixel, one packet lane each.
constexpr double sampleOffsets[4][2] = {{0.25, 0.25}, {0.75, 0.25}, {0.25, 0.75}, {0.75, 0.75}};

// The Hammersley points of the occlusion rays, shared by every pixel: (u, v) in the unit
// square, u stratified, v its bit-reversed partner.
struct HemisphereSamples
{
    std::vector<float> u, v;
    oxGeom::ScrambledHammersleySequence rotateU, rotateV;  // per-pixel rotations
};

// The Hammersley set of `count` points: u_i = (i + 1/2) / count, v_i the base-2 radical inverse
// of i (the bit-reversal permutation over the next power of two, centred in its cell).
HemisphereSamples makeSamples(int count)
{
    HemisphereSamples samples;
    int bits = 0;
    while ((1 << bits) < count)
        ++bits;
    oxGeom::HammersleyPermutation2 permutation;
    permutation.calculate(bits);
    const float n = float(1 << bits);
    for (int i = 0; i < count; ++i)
    {
        samples.u.push_back((float(i) + 0.5f) / float(count));
        samples.v.push_back((float(permutation[i]) + 0.5f) / n);
    }
    samples.rotateU.calculate(3, 4096);
    samples.rotateV.calculate(5, 4096);
    return samples;
}

float fraction(float x)
{
    return x - std::floor(x);
}

class RenderAlg : public oxUtil::ThreadedChunkAlg
{
public:
    RenderAlg(const Scene& scene, const Camera& camera, const HemisphereSamples& samples,
              Image& image)
        : ThreadedChunkAlg(image.height, 1),
          m_scene(scene),
          m_camera(camera),
          m_samples(samples),
          m_image(image)
    {
    }

    void execute(int threadIndex, int) override
    {
        oxGeom::QuadRayTracer tracer(m_scene.octree, m_scene.tris, &m_scene.mesh);
        int begin, end;
        while (nextChunk(threadIndex, begin, end))
        {
            if (cancelled(threadIndex))
                return;
            for (int row = begin; row < end; ++row)
                for (int column = 0; column < m_image.width; ++column)
                    renderPixel(tracer, column, row);
            const int done = m_rowsDone.fetch_add(end - begin) + (end - begin);
            if (oxUtil::Progress* progress = getProgress())
                progress->set(double(done) / m_image.height);
        }
    }

private:
    struct SurfaceHit
    {
        oxLinear::Point point;
        oxLinear::Vector geometric;  // unit, facing the eye
        oxLinear::Vector shading;    // unit, on the geometric normal's side
        Colour albedo;
    };

    void renderPixel(oxGeom::QuadRayTracer& tracer, int column, int row)
    {
        const double windowY = double(m_image.height - 1 - row);
        oxLinear::VectorFlt directions[4];
        oxLinear::Vector exact[4];
        for (int lane = 0; lane < 4; ++lane)
        {
            exact[lane] = m_camera.rayDirection(column + sampleOffsets[lane][0],
                                                windowY + sampleOffsets[lane][1]);
            directions[lane] = oxLinear::VectorFlt(exact[lane]);
        }
        const oxLinear::PointFlt eye(m_camera.eye);
        oxGeom::QuadRay packet(eye, directions[0], directions[1], directions[2], directions[3],
                               false);
        tracer.intersect(packet);

        Colour sum = {0.0f, 0.0f, 0.0f};
        int hits = 0;
        float occlusion = 1.0f;
        for (int lane = 0; lane < 4; ++lane)
        {
            const int triangle = tracer.triangleIndex(packet, lane);
            if (triangle < 0)
                continue;
            const SurfaceHit hit = surfaceAt(triangle, packet.triIntersectionBaryU(lane),
                                             packet.triIntersectionBaryV(lane), exact[lane]);
            if (hits == 0)
                occlusion = ambientAccess(tracer, hit, column, row);
            const float light = float(std::max(0.0, oxLinear::dot(hit.shading, m_scene.toLight)));
            const float intensity = occlusion * occlusion * (0.1f + 0.9f * light);
            for (int k = 0; k < 3; ++k)
                sum[k] += hit.albedo[k] * intensity;
            ++hits;
        }
        std::uint8_t* pixel = m_image.pixel(column, row);
        for (int k = 0; k < 3; ++k)
            pixel[k] = hits > 0 ? toSrgbByte(sum[k] / float(hits)) : 0;
        pixel[3] = std::uint8_t((hits * 255 + 2) / 4);
    }

    SurfaceHit surfaceAt(int triangle, float u, float v, const oxLinear::Vector& ray) const
    {
        const oxGeom::MeshTriangle& tri = m_scene.mesh.getTriangles()[triangle];
        const float* vertices = m_scene.mesh.getVerticesRaw();
        const oxGeom::MeshNormal* normals = m_scene.mesh.getNormals();
        const double w[3] = {1.0 - u - v, u, v};
        SurfaceHit hit;
        oxLinear::Vector shading(0, 0, 0);
        hit.albedo = {0.0f, 0.0f, 0.0f};
        for (int k = 0; k < 3; ++k)
        {
            const float* p = vertices + 3 * tri[k];
            for (int axis = 0; axis < 3; ++axis)
            {
                hit.point[axis] += w[k] * p[axis];
                shading[axis] += w[k] * normals[tri[k]][axis];
            }
            const Colour& c = m_scene.colours.empty() ? clay : m_scene.colours[std::size_t(tri[k])];
            for (int channel = 0; channel < 3; ++channel)
                hit.albedo[channel] += float(w[k]) * c[channel];
        }
        hit.geometric = oxGeom::meshTriNormal(vertices, tri.v);
        if (oxLinear::dot(hit.geometric, ray) > 0.0)
            hit.geometric = -hit.geometric;
        if (m_scene.flat || shading.normalize() == 0.0)
            shading = hit.geometric;
        // Near a silhouette the interpolated normal may lean away from the eye; it is kept on the
        // triangle's visible side rather than turned to the eye, or the occlusion rays of the
        // rim would dive into the surface.
        if (oxLinear::dot(shading, hit.geometric) < 0.0)
            shading = -shading;
        hit.shading = shading;
        return hit;
    }

    // The cosine-weighted share of the hemisphere above the hit from which the sky is seen.
    float ambientAccess(oxGeom::QuadRayTracer& tracer, const SurfaceHit& hit, int column, int row)
    {
        const int count = int(m_samples.u.size());
        if (count == 0)
            return 1.0f;
        // The hemisphere follows the interpolated normal, so that the occlusion varies smoothly
        // across triangles; the rays start off the triangle's own plane, so that none of them
        // meets the triangle it leaves.
        const oxLinear::Vector& n = hit.shading;
        const oxLinear::Vector tangent = n.orthogonalVector();
        const oxLinear::Vector bitangent = oxLinear::cross(n, tangent);
        const oxLinear::PointFlt origin(hit.point + m_scene.offset * hit.geometric);
        const int pixelIndex = row * m_image.width + column;
        const float shiftU = m_samples.rotateU[pixelIndex], shiftV = m_samples.rotateV[pixelIndex];
        double open = 0.0, total = 0.0;
        for (int first = 0; first < count; first += 4)
        {
            oxLinear::VectorFlt directions[4];
            float weights[4];
            for (int lane = 0; lane < 4; ++lane)
            {
                const int i = std::min(first + lane, count - 1);
                oxLinear::VectorFlt local;
                oxGeom::mapSphericalCapToUniformCartesian(fraction(m_samples.u[i] + shiftU),
                                                          fraction(m_samples.v[i] + shiftV), 1.0f,
                                                          local);
                directions[lane] =
                    oxLinear::VectorFlt(local[0] * tangent + local[1] * bitangent + local[2] * n);
                weights[lane] = first + lane < count ? local[2] : 0.0f;
            }
            oxGeom::QuadRay packet(origin, directions[0], directions[1], directions[2],
                                   directions[3], true);
            tracer.intersect(packet);
            for (int lane = 0; lane < 4; ++lane)
            {
                total += weights[lane];
                if (!packet.triHit(lane))
                    open += weights[lane];
            }
        }
        return total > 0.0 ? float(open / total) : 1.0f;
    }

    static std::uint8_t toSrgbByte(float linear)
    {
        const float c = std::clamp(linear, 0.0f, 1.0f);
        const float encoded =
            c <= 0.0031308f ? 12.92f * c : 1.055f * std::pow(c, 1.0f / 2.4f) - 0.055f;
        return std::uint8_t(std::lround(encoded * 255.0f));
    }

    static constexpr Colour clay = {0.72f, 0.68f, 0.62f};

    const Scene& m_scene;
    const Camera& m_camera;
    const HemisphereSamples& m_samples;
    Image& m_image;
    std::atomic<int> m_rowsDone{0};
};

// ---- options ----

void parseSize(const std::string& text, int& width, int& height)
{
    char extra = 0;
    if (std::sscanf(text.c_str(), "%dx%d%c", &width, &height, &extra) != 2 || width < 1 ||
        height < 1 || width > 16384 || height > 16384)
        throw ToolError(ExitFailure, "--size must be WIDTHxHEIGHT, each 1 to 16384 (e.g. 800x600)");
}

using Rgb = std::array<int, 3>;

// The solid background named by `text`, or none for "transparent" (the coverage stays as alpha).
std::optional<Rgb> parseBackground(const std::string& text)
{
    if (text == "transparent")
        return std::nullopt;
    if (text == "white")
        return Rgb{255, 255, 255};
    if (text == "black")
        return Rgb{0, 0, 0};
    unsigned rgb = 0;
    char extra = 0;
    if (text.size() != 6 || text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos ||
        std::sscanf(text.c_str(), "%6x%c", &rgb, &extra) != 1)
        throw ToolError(ExitFailure, "--background must be transparent, white, black or RRGGBB");
    return Rgb{int(rgb >> 16 & 0xff), int(rgb >> 8 & 0xff), int(rgb & 0xff)};
}

// Composites the picture over a solid background (coverage as the blend weight).
void applyBackground(Image& image, const Rgb& back)
{
    for (std::size_t i = 0; i < image.rgba.size(); i += 4)
    {
        const int alpha = image.rgba[i + 3];
        for (int k = 0; k < 3; ++k)
            image.rgba[i + k] =
                std::uint8_t((image.rgba[i + k] * alpha + back[k] * (255 - alpha) + 127) / 255);
        image.rgba[i + 3] = 255;
    }
}

void checkOptions(const RenderOptions& options)
{
    const std::string& out = options.output;
    if (out.size() < 4 || strcasecmp(out.c_str() + out.size() - 4, ".png") != 0)
        throw ToolError(ExitFailure, out + ": the picture is written as PNG; name it .png");
    if (options.color != "none" && options.color != "curvature")
        throw ToolError(ExitFailure, "--color must be none or curvature");
    if (!(options.fov > 0.0 && options.fov < 180.0))
        throw ToolError(ExitFailure, "--fov must lie between 0 and 180 degrees");
    parseUpAxis(options.up);
    parseBackground(options.background);
}

int runRender(const Session& session, const RenderOptions& options)
{
    checkOptions(options);
    int width = 0, height = 0;
    parseSize(options.size, width, height);
    const std::optional<Rgb> background = parseBackground(options.background);

    const auto progress = session.makeProgress();
    const oxGeom::CompactMesh mesh = loadMesh(options.input, *progress);
    const Camera camera = frameMesh(mesh, options, width, height);
    Image image(width, height);
    Scene scene;
    buildScene(scene, mesh, options, camera, *progress);
    const HemisphereSamples samples = makeSamples(options.samples);

    RenderAlg render(scene, camera, samples, image);
    render.setProgress(&progress->stage("Rendering"));
    oxUtil::ThreadPool::get().run(render);
    progress->throwIfInterrupted();
    if (background)
        applyBackground(image, *background);
    const std::string problem = writePng(options.output, image);
    if (!problem.empty())
        throw ToolError(ExitFailure, problem);
    progress->clear();
    session.say(
        "render: %dx%d, %d occlusion rays per pixel; eye (%.6g, %.6g, %.6g) looking at "
        "(%.6g, %.6g, %.6g), up (%.6g, %.6g, %.6g), %.6g degrees; wrote %s\n",
        width, height, options.samples, camera.eye[0], camera.eye[1], camera.eye[2],
        camera.target[0], camera.target[1], camera.target[2], camera.viewUp[0], camera.viewUp[1],
        camera.viewUp[2], options.fov, options.output.c_str());
    return ExitSuccess;
}
}  // namespace

void addRenderCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<RenderOptions>();
    CLI::App* command =
        app.add_subcommand("render", "Render a mesh with ambient occlusion to a PNG picture");
    command->add_option("mesh", options->input, "mesh file")->required();
    command->add_option("-o,--output", options->output, "PNG file to write")->required();
    command->add_option("--size", options->size, "picture size WIDTHxHEIGHT (default 800x600)");
    command
        ->add_option("--samples", options->samples,
                     "occlusion rays per pixel (default 64; 0: no occlusion)")
        ->check(CLI::Range(0, 4096));
    command->add_option("--color", options->color,
                        "none (default) or curvature (mean curvature: blue concave, red "
                        "convex)");
    command->add_flag("--flat", options->flat, "shade with triangle normals");
    command->add_option("--azimuth", options->azimuth, "degrees round the up axis (default 30)");
    command->add_option("--elevation", options->elevation,
                        "degrees above the horizon (default 20)");
    command->add_option("--fov", options->fov, "vertical angle of view in degrees (default 55)");
    command->add_option("--up", options->up, "up axis: x, y (default) or z, optionally -x ...");
    command->add_option("--background", options->background,
                        "transparent (default), white, black or RRGGBB");
    command->footer(
        "The camera looks at the centre of the bounding box from the given azimuth and "
        "elevation, far enough for the sphere about that centre through the farthest vertex to "
        "fit the view. Each pixel "
        "traces a 2x2 grid of rays; its alpha is the share of them that meet the mesh.\n"
        "Example: trelm render data/bunny.ply -o bunny.png --size 640x480 --samples 128");
    setAction(*command, session, [&session, options] { return runRender(session, *options); });
}
}  // namespace trelm::cli
