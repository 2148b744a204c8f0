#pragma once
// Element types of the mesh arrays. Algorithms walk these arrays through raw
// pointers (a MeshVertex array is also a packed float array of 3n values), so
// the layouts below are fixed and checked at compile time.

#include <cstdint>

namespace oxGeom
{
/// A vertex position: x, y, z as 32-bit floats.
struct MeshVertex
{
    float v[3];

    float& operator[](int i) { return v[i]; }
    const float& operator[](int i) const { return v[i]; }
};

/// A per-vertex or per-triangle normal: 3 floats.
struct MeshNormal
{
    float v[3];

    float& operator[](int i) { return v[i]; }
    const float& operator[](int i) const { return v[i]; }
};

/// A 2-D texture coordinate (u, v); serves the UV and the ST channel alike.
struct MeshUV
{
    float v[2];

    float& operator[](int i) { return v[i]; }
    const float& operator[](int i) const { return v[i]; }
};

/// The three vertex indices of a triangle, in winding order.
struct MeshTriangle
{
    int v[3];

    int& operator[](int i) { return v[i]; }
    const int& operator[](int i) const { return v[i]; }
};

/// The two vertex indices of a line segment.
struct MeshLine
{
    int v[2];

    int& operator[](int i) { return v[i]; }
    const int& operator[](int i) const { return v[i]; }
};

/// A per-vertex colour, 8 bits per channel: red, green, blue, alpha.
struct MeshColour
{
    std::uint8_t c[4];
};

/// Which per-vertex coordinate array an algorithm reads. Functions taking a
/// channel accept VertexChannel, UVChannel and STChannel and give their empty
/// result for any other value or for a channel the mesh does not carry.
enum MeshChannel
{
    VertexChannel = 0,
    NormalChannel = 1,  ///< the vertex normals; no channel-taking algorithm accepts it
    UVChannel = 2,
    STChannel = 3
};

static_assert(sizeof(MeshVertex) == 12, "MeshVertex is 3 packed floats");
static_assert(sizeof(MeshNormal) == 12, "MeshNormal is 3 packed floats");
static_assert(sizeof(MeshUV) == 8, "MeshUV is 2 packed floats");
static_assert(sizeof(MeshTriangle) == 12, "MeshTriangle is 3 packed ints");
static_assert(sizeof(MeshLine) == 8, "MeshLine is 2 packed ints");
static_assert(sizeof(MeshColour) == 4, "MeshColour is 4 bytes");
}  // namespace oxGeom
