// PNG writer of the trelm tool, on libpng's simplified API (no setjmp error handling to get
// wrong), with the same publish-by-rename rule as the mesh writers: the picture appears under
// its name complete or not at all.

#include "pngWrite.h"

#include <png.h>

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace trelm::cli
{
namespace
{
std::string failure(const std::string& path, const std::string& what)
{
    return path + ": " + what;
}

// mkstemp creates its file for the owner alone; a published picture gets the permissions any
// new file of the user would get.
void applyUsualPermissions(int descriptor)
{
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(descriptor, 0666 & ~mask);
}

// Writes the encoded picture to an open temporary; returns libpng's message on failure.
std::string encode(std::FILE* file, const Image& image)
{
    png_image header;
    std::memset(&header, 0, sizeof header);
    header.version = PNG_IMAGE_VERSION;
    header.width = static_cast<png_uint_32>(image.width);
    header.height = static_cast<png_uint_32>(image.height);
    header.format = PNG_FORMAT_RGBA;
    const int ok = png_image_write_to_stdio(&header, file, 0, image.rgba.data(), 0, nullptr);
    const std::string message = ok ? std::string() : std::string(header.message);
    png_image_free(&header);
    return ok ? std::string() : (message.empty() ? std::string("cannot encode") : message);
}
}  // namespace

std::string writePng(const std::string& path, const Image& image)
{
    if (image.width <= 0 || image.height <= 0 ||
        image.rgba.size() != static_cast<std::size_t>(image.width) * image.height * 4u)
        return failure(path, "no picture to write");
    std::string temporary = path + ".tmp-XXXXXX";
    const int descriptor = mkstemp(temporary.data());
    if (descriptor < 0)
        return failure(path, std::strerror(errno));
    applyUsualPermissions(descriptor);
    std::FILE* file = fdopen(descriptor, "wb");
    if (file == nullptr)
    {
        const std::string reason = std::strerror(errno);
        close(descriptor);
        unlink(temporary.c_str());
        return failure(path, reason);
    }
    std::string problem = encode(file, image);
    if (std::fflush(file) != 0 && problem.empty())
        problem = std::strerror(errno);
    if (std::fclose(file) != 0 && problem.empty())
        problem = std::strerror(errno);
    if (problem.empty() && std::rename(temporary.c_str(), path.c_str()) != 0)
        problem = std::strerror(errno);
    if (!problem.empty())
    {
        unlink(temporary.c_str());
        return failure(path, problem);
    }
    return std::string();
}
}  // namespace trelm::cli
