#pragma once
// Shared by the flattening tests: a capture of the application output, a snapshot of every
// array of a mesh (to prove that a refused or cancelled run changed nothing), a progress that
// records its captions, and the conformal energy of a UV layout computed from first
// principles (Jacobians in each triangle's own plane), independent of the cotangent assembly.

#include <oxGeom/CompactMesh.h>
#include <oxOS/AppOutput.h>
#include <oxUtil/Progress.h>

#include <cmath>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace flattentest
{
/// Collects the application output for its lifetime, each line as "I:text" or "E:text".
class OutputCapture
{
public:
    OutputCapture()
    {
        oxOS::AppOutput::getInstance().setCallback(
            [this](oxOS::AppOutput::Level level, const char* text) {
                lines.push_back((level == oxOS::AppOutput::Level::Info ? "I:" : "E:") +
                                std::string(text));
            });
    }
    ~OutputCapture() { oxOS::AppOutput::getInstance().setCallback(nullptr); }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /// The lines that start with `prefix`, in order.
    std::vector<std::string> starting(const std::string& prefix) const
    {
        std::vector<std::string> out;
        for (const std::string& line : lines)
            if (line.compare(0, prefix.size(), prefix) == 0)
                out.push_back(line);
        return out;
    }
    bool contains(const std::string& line) const
    {
        for (const std::string& l : lines)
            if (l == line)
                return true;
        return false;
    }

    std::vector<std::string> lines;
};

/// Every array of a mesh, copied.
struct MeshSnapshot
{
    explicit MeshSnapshot(const oxGeom::CompactMesh& mesh)
    {
        numVertices = mesh.getNumVertices();
        for (int a = 0; a < mesh.getNumAttributes(); ++a)
        {
            const oxGeom::MeshAttributes* channel = mesh.getAttributes(a);
            channels[channel->getName().c_str()] = std::vector<float>(
                channel->asFloat(),
                channel->asFloat() + channel->getNumElements() * channel->getDimension());
        }
        triangles.assign(mesh.getTrianglesRaw(),
                         mesh.getTrianglesRaw() + 3 * mesh.getNumTriangles());
        if (mesh.getTriangleNormals())
            triangleNormals.assign(mesh.getTriangleNormalsRaw(),
                                   mesh.getTriangleNormalsRaw() + 3 * mesh.getNumTriangles());
        strips.assign(mesh.getTriStripPoints(),
                      mesh.getTriStripPoints() + mesh.getNumTriStripPoints());
        fans.assign(mesh.getTriFanPoints(), mesh.getTriFanPoints() + mesh.getNumTriFanPoints());
        selectedVertices = mesh.getSelectedVertices();
        selectedTriangles = mesh.getSelectedTriangles();
        normalsComputed = mesh.getNormalsComputed();
    }
    bool operator==(const MeshSnapshot& o) const
    {
        return numVertices == o.numVertices && channels == o.channels && triangles == o.triangles &&
               triangleNormals == o.triangleNormals && strips == o.strips && fans == o.fans &&
               selectedVertices == o.selectedVertices && selectedTriangles == o.selectedTriangles &&
               normalsComputed == o.normalsComputed;
    }

    int numVertices = 0;
    std::map<std::string, std::vector<float>> channels;
    std::vector<int> triangles;
    std::vector<float> triangleNormals;
    std::vector<int> strips, fans;
    oxGeom::BitVector selectedVertices, selectedTriangles;
    bool normalsComputed = false;
};

/// A root progress that records each new caption and can run a hook on every report.
struct CaptionLog
{
    CaptionLog()
        : progress(
              [this](double fraction, const char* caption)
              {
                  if (captions.empty() || captions.back() != caption)
                      captions.push_back(caption);
                  last = fraction;
                  if (hook)
                      hook(fraction, caption);
              })
    {
    }
    std::vector<std::string> captions;
    double last = 0.0;
    std::function<void(double, const std::string&)> hook;
    oxUtil::Progress progress;
};

/// The conformal energy of the mesh's UV layout: over the triangles, the area times half the
/// squared distance of the Jacobian (from the triangle's own plane to UV) from the nearest
/// rotation-and-scale, (a - d)^2 + (b + c)^2. It is zero exactly for layouts that are similar,
/// triangle by triangle and with the same orientation, to the surface. `uv` holds 2 doubles
/// per vertex.
inline double conformalEnergy(const oxGeom::CompactMesh& mesh, const std::vector<double>& uv)
{
    double energy = 0.0;
    const oxGeom::MeshVertex* v = mesh.getVertices();
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        double e1[3], e2[3];
        for (int k = 0; k < 3; ++k)
        {
            e1[k] = v[tri[1]][k] - v[tri[0]][k];
            e2[k] = v[tri[2]][k] - v[tri[0]][k];
        }
        // Local frame: x along e1, y in the plane of e1 and e2.
        const double l1 = std::sqrt(e1[0] * e1[0] + e1[1] * e1[1] + e1[2] * e1[2]);
        const double x2 = (e1[0] * e2[0] + e1[1] * e2[1] + e1[2] * e2[2]) / l1;
        const double y2 =
            std::sqrt(std::max(0.0, e2[0] * e2[0] + e2[1] * e2[1] + e2[2] * e2[2] - x2 * x2));
        if (!(y2 > 0.0))
            continue;
        // Local corners (0, 0), (l1, 0), (x2, y2); J [dx dy] = [du dv].
        const double du1 = uv[2 * tri[1]] - uv[2 * tri[0]],
                     dv1 = uv[2 * tri[1] + 1] - uv[2 * tri[0] + 1];
        const double du2 = uv[2 * tri[2]] - uv[2 * tri[0]],
                     dv2 = uv[2 * tri[2] + 1] - uv[2 * tri[0] + 1];
        const double a = du1 / l1, c = dv1 / l1;
        const double b = (du2 - a * x2) / y2, d = (dv2 - c * x2) / y2;
        energy += 0.5 * l1 * y2 * 0.5 * ((a - d) * (a - d) + (b + c) * (b + c));
    }
    return energy;
}

/// The mesh's UVs as doubles, 2 per vertex.
inline std::vector<double> uvsOf(const oxGeom::CompactMesh& mesh)
{
    std::vector<double> uv;
    for (int i = 0; i < mesh.getNumVertices(); ++i)
    {
        uv.push_back(mesh.getUVs()[i][0]);
        uv.push_back(mesh.getUVs()[i][1]);
    }
    return uv;
}
}  // namespace flattentest
