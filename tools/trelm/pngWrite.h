#pragma once
// PNG output of the trelm tool (rendered pictures, UV layouts): an 8-bit RGBA image in memory
// and its writer over libpng.

#include <cstdint>
#include <string>
#include <vector>

namespace trelm::cli
{
/// An 8-bit RGBA picture, rows from top to bottom, 4 bytes per pixel, zero-initialised
/// (transparent black).
struct Image
{
    Image() = default;
    Image(int w, int h)
        : width(w), height(h), rgba(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4u)
    {
    }

    /// The 4 bytes of pixel (x, y), y counted from the top. Precondition: inside the image.
    std::uint8_t* pixel(int x, int y)
    {
        return rgba.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                              static_cast<std::size_t>(x)) *
                                 4u;
    }

    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgba;
};

/// Writes `image` to `path` as an 8-bit RGBA PNG (sRGB).
/// The file is written to a temporary in the same directory and renamed onto `path` only when
/// complete, so `path` never holds a partial picture; a failed write removes the temporary.
/// Returns the empty string on success, else a one-line message naming `path`.
/// An image without pixels is refused (PNG has no empty pictures).
std::string writePng(const std::string& path, const Image& image);
}  // namespace trelm::cli
