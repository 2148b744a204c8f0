// Maps between the unit square and the unit sphere that preserve area: equal areas of the
// square go to equal areas of the sphere (or of a cap), so uniform or low-discrepancy points of
// the square give uniformly spread directions.

#include <oxGeom/sampling.h>

#include <cmath>

namespace oxGeom
{
namespace
{
// 2 pi rounded to float, the factor between u and the longitude.
constexpr float twoPi = 6.2831854820251465f;
}  // namespace

void mapSphericalToUniformCartesian(float u, float v, oxLinear::VectorFlt& out)
{
    const float theta = std::acos(2.0f * v - 1.0f);
    const float phi = twoPi * u;
    const float sinTheta = std::sin(theta);
    out = oxLinear::VectorFlt(std::cos(phi) * sinTheta, std::sin(phi) * sinTheta, std::cos(theta));
}

void mapSphericalCapToUniformCartesian(float u, float v, float cap, oxLinear::VectorFlt& out)
{
    const float phi = twoPi * u;
    const float w = v * cap;
    const float r = std::sqrt((2.0f - w) * w);
    out = oxLinear::VectorFlt(std::cos(phi) * r, std::sin(phi) * r, 1.0f - w);
}

void mapUniformCartesianToSpherical(const oxLinear::VectorFlt& p, float& u, float& v)
{
    const float theta = std::acos(p.z());
    const float s = std::sin(theta);
    u = 0.0f;
    // Within 0.001 of a pole the longitude is lost in rounding: u = 0 there.
    if (std::fabs(s) >= 0.001f)
    {
        u = std::atan2(p.y() / s, p.x() / s) / twoPi;
        if (u < 0.0f)
            u += 1.0f;
    }
    v = (std::cos(theta) + 1.0f) * 0.5f;
}
}  // namespace oxGeom
