#pragma once
// Test helpers for editing operations: meshes from literal index lists, and
// meshes carrying every kind of vertex channel with random values, so that an
// edit can be checked to keep each value with its vertex.

#include <oxGeom/CompactMesh.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace testsupport
{
/// A mesh of positions.size() / 3 vertices and triangles.size() / 3 triangles.
inline oxGeom::CompactMesh makeMesh(const std::vector<float>& positions,
                                    const std::vector<int>& triangles)
{
    oxGeom::CompactMesh mesh;
    mesh.copyVertices(static_cast<int>(positions.size() / 3), positions.data());
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return mesh;
}

/// The triangle indices of `mesh`, 3 per triangle.
inline std::vector<int> triangleList(const oxGeom::CompactMesh& mesh)
{
    const int* t = mesh.getTrianglesRaw();
    return std::vector<int>(t, t + 3 * mesh.getNumTriangles());
}

/// The named channels (besides positions) that addEveryChannel fills.
inline const std::vector<std::string>& everyChannelName()
{
    static const std::vector<std::string> names = {"Normals", "UVs",         "STs",
                                                   "Colours", "Temperature", "Weights"};
    return names;
}

/// Gives `mesh` normals, UVs, STs, colours, a 1-float channel "Temperature"
/// and a 4-float channel "Weights" (not storeable), all with seeded random
/// values, plus triangle normals.
inline void addEveryChannel(oxGeom::CompactMesh& mesh, std::uint32_t seed)
{
    std::mt19937 random(seed);
    auto fill = [&](oxGeom::MeshAttributes* channel)
    {
        float* values = channel->asFloat();
        const int n = channel->getNumElements() * channel->getDimension();
        for (int i = 0; i < n; ++i)
            values[i] = static_cast<float>(random() % 100000) / 1000.0f - 50.0f;
    };
    mesh.allocNormalArray();
    mesh.allocUVArray();
    mesh.allocSTArray();
    mesh.allocAttributes(oxGeom::PointMesh::ColoursName, 4);
    mesh.allocAttributes("Temperature", 1);
    mesh.allocAttributes("Weights", 4)->setStoreable(false);
    for (int a = 1; a < mesh.getNumAttributes(); ++a)
        fill(mesh.getAttributes(a));
    float* triangleNormals = &mesh.allocTriangleNormalArray()[0][0];
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i)
        triangleNormals[i] = static_cast<float>(random() % 1000) - 500.0f;
}

/// The `dimension` floats of element `i` of the channel called `name`.
inline std::vector<float> channelValue(const oxGeom::PointMesh& mesh, const std::string& name,
                                       int i)
{
    const oxGeom::MeshAttributes* channel = mesh.getAttributes(name.c_str());
    const int d = channel->getDimension();
    return std::vector<float>(channel->asFloat() + i * d, channel->asFloat() + (i + 1) * d);
}
}  // namespace testsupport
