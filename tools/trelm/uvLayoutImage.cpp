// UV layout pictures of the trelm tool: triangles filled by testing pixel centres against their
// edge functions, edges traced with a DDA; simple and exact enough for a picture a person
// checks by eye.

#include "uvLayoutImage.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace trelm::cli
{
namespace
{
struct Pixel2
{
    double x, y;
};

void setPixel(Image& image, int x, int y, const std::uint8_t rgb[3])
{
    if (x < 0 || y < 0 || x >= image.width || y >= image.height)
        return;
    std::uint8_t* p = image.pixel(x, y);
    p[0] = rgb[0];
    p[1] = rgb[1];
    p[2] = rgb[2];
    p[3] = 255;
}

// A pale tint per chart, spread round the colour wheel by the golden angle.
void chartTint(int chart, std::uint8_t rgb[3])
{
    const double hue = std::fmod(chart * 0.618033988749895, 1.0) * 6.0;
    const double f = hue - std::floor(hue);
    const double ramp[6][3] = {{1, f, 0},     {1 - f, 1, 0}, {0, 1, f},
                               {0, 1 - f, 1}, {f, 0, 1},     {1, 0, 1 - f}};
    const double* c = ramp[int(hue) % 6];
    for (int k = 0; k < 3; ++k)
        rgb[k] = std::uint8_t(std::lround(255.0 * (0.72 + 0.28 * c[k])));
}

double edgeFunction(const Pixel2& a, const Pixel2& b, double x, double y)
{
    return (b.x - a.x) * (y - a.y) - (b.y - a.y) * (x - a.x);
}

void fillTriangle(Image& image, const Pixel2 p[3], const std::uint8_t rgb[3])
{
    const int x0 = std::max(0, int(std::floor(std::min({p[0].x, p[1].x, p[2].x}))));
    const int x1 = std::min(image.width - 1, int(std::ceil(std::max({p[0].x, p[1].x, p[2].x}))));
    const int y0 = std::max(0, int(std::floor(std::min({p[0].y, p[1].y, p[2].y}))));
    const int y1 = std::min(image.height - 1, int(std::ceil(std::max({p[0].y, p[1].y, p[2].y}))));
    for (int y = y0; y <= y1; ++y)
        for (int x = x0; x <= x1; ++x)
        {
            const double cx = x + 0.5, cy = y + 0.5;
            const double e0 = edgeFunction(p[0], p[1], cx, cy);
            const double e1 = edgeFunction(p[1], p[2], cx, cy);
            const double e2 = edgeFunction(p[2], p[0], cx, cy);
            if ((e0 >= 0 && e1 >= 0 && e2 >= 0) || (e0 <= 0 && e1 <= 0 && e2 <= 0))
                setPixel(image, x, y, rgb);
        }
}

void drawLine(Image& image, const Pixel2& a, const Pixel2& b, const std::uint8_t rgb[3])
{
    const double steps = std::ceil(std::max(std::fabs(b.x - a.x), std::fabs(b.y - a.y)));
    const int count = int(std::min(steps, 4.0 * (image.width + image.height)));
    for (int i = 0; i <= count; ++i)
    {
        const double t = count > 0 ? double(i) / count : 0.0;
        setPixel(image, int(std::floor(a.x + t * (b.x - a.x))),
                 int(std::floor(a.y + t * (b.y - a.y))), rgb);
    }
}
}  // namespace

Image drawUvLayout(const oxGeom::CompactMesh& mesh, int size,
                   const std::vector<int>& chartOfTriangle)
{
    Image image(size, size);
    std::fill(image.rgba.begin(), image.rgba.end(), std::uint8_t(255));
    const oxGeom::MeshUV* uvs = mesh.getUVs();
    if (uvs == nullptr)
        return image;
    const std::uint8_t edge[3] = {60, 60, 70};
    std::vector<std::array<Pixel2, 3>> corners;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        std::array<Pixel2, 3> p;
        bool inRange = true;
        for (int k = 0; k < 3; ++k)
        {
            inRange &= tri[k] >= 0 && tri[k] < mesh.getNumVertices();
            if (!inRange)
                break;
            const oxGeom::MeshUV& uv = uvs[tri[k]];
            // Far-off or non-finite coordinates would overflow the pixel arithmetic; such
            // triangles are off the picture anyway.
            inRange &= std::fabs(uv[0]) < 1e6f && std::fabs(uv[1]) < 1e6f;
            p[std::size_t(k)] = {double(uv[0]) * size, (1.0 - double(uv[1])) * size};
        }
        if (!inRange)
            continue;
        std::uint8_t tint[3];
        chartTint(std::size_t(t) < chartOfTriangle.size() ? chartOfTriangle[std::size_t(t)] : 0,
                  tint);
        fillTriangle(image, p.data(), tint);
        corners.push_back(p);
    }
    for (const auto& p : corners)
        for (int k = 0; k < 3; ++k)
            drawLine(image, p[std::size_t(k)], p[std::size_t((k + 1) % 3)], edge);
    return image;
}
}  // namespace trelm::cli
