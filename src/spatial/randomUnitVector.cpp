// Random unit vectors by rejection sampling in the cube [-1, 1)^3: uniform over the sphere
// without trigonometry, and the hemisphere sets built from them by reflection.

#include <oxGeom/sampling.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace oxGeom
{
namespace
{
// A uniform draw from [0, 1) of the process-wide drand48 generator.
double uniformDraw()
{
#if defined(_WIN32)
    // No drand48 here: the same 48-bit linear congruential recurrence, with its default seed.
    static std::uint64_t state = 0x1234ABCD330Eull;
    state = (0x5DEECE66Dull * state + 0xBull) & ((std::uint64_t(1) << 48) - 1);
    return std::ldexp(static_cast<double>(state), -48);
#else
    return ::drand48();
#endif
}
}  // namespace

void randomUnitVector(oxLinear::Vector& v)
{
    double length2 = 0.0;
    do
    {
        // Drawn in x, y, z order (the order of a constructor's arguments is unspecified).
        const double x = 2.0 * uniformDraw() - 1.0;
        const double y = 2.0 * uniformDraw() - 1.0;
        const double z = 2.0 * uniformDraw() - 1.0;
        v = oxLinear::Vector(x, y, z);
        length2 = v.length2();
    } while (length2 < 0.01 || length2 >= 1.0);
    v *= 1.0 / std::sqrt(length2);
}

void computeHemisphereVectors(const oxLinear::Vector& normal, ox::vector<oxLinear::Vector>& vectors)
{
    for (oxLinear::Vector& v : vectors)
    {
        randomUnitVector(v);
        if (oxLinear::dot(v, normal) < 0.0)
            v.reverse();
    }
}
}  // namespace oxGeom
