// File input and output shared by the mesh formats. Input takes the whole file in one read, so
// that parsers work on one contiguous buffer and can check every count against the bytes there
// are; output goes through a large buffer into a temporary file that is renamed into place only
// when complete, so a reader of the destination never sees half a mesh.

#include "FileIO.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace trelm::files::detail
{
namespace
{
constexpr std::size_t pollInterval = std::size_t(1) << 20;

std::string systemError(const char* action)
{
    return std::string(action) + ": " + std::strerror(errno);
}

// Reads up to `size` bytes, retrying after signals; returns the count read (0 at the end).
std::size_t readSome(int fd, char* buffer, std::size_t size)
{
    for (;;)
    {
        const ssize_t got = ::read(fd, buffer, size);
        if (got >= 0)
            return static_cast<std::size_t>(got);
        if (errno != EINTR)
            failFile(systemError("cannot read"));
    }
}

class FileDescriptor
{
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

constexpr std::size_t hugePage = std::size_t(2) << 20;

// A block of `size` bytes. Large blocks are aligned to and advised for huge pages: a file of
// hundreds of megabytes then costs a few hundred page faults instead of a hundred thousand,
// which is a fair share of the time of a fast parser.
FileBytes::Block allocateBlock(std::size_t size)
{
    void* block = nullptr;
    if (size >= 2 * hugePage)
    {
        const std::size_t rounded = (size + hugePage - 1) / hugePage * hugePage;
        block = std::aligned_alloc(hugePage, rounded);
#ifdef MADV_HUGEPAGE
        if (block)
            ::madvise(block, rounded, MADV_HUGEPAGE);
#endif
    }
    else
        block = std::malloc(size);
    if (!block)
        throw std::bad_alloc();
    return FileBytes::Block(static_cast<char*>(block));
}

FileBytes::Block readRegularFile(int fd, std::size_t size)
{
    FileBytes::Block data = allocateBlock(size + 1);
    std::size_t done = 0;
    while (done < size)
    {
        const std::size_t got = readSome(fd, data.get() + done, size - done);
        if (got == 0)
            failFile("cannot read: the file shrank while being read");
        done += got;
    }
    data.get()[size] = '\0';
    return data;
}

// For pipes and devices, whose size is known only at their end.
FileBytes::Block readStream(int fd, std::size_t& size)
{
    std::size_t capacity = std::size_t(1) << 16;
    FileBytes::Block data = allocateBlock(capacity + 1);
    size = 0;
    for (;;)
    {
        if (size == capacity)
        {
            FileBytes::Block larger = allocateBlock(2 * capacity + 1);
            std::memcpy(larger.get(), data.get(), size);
            data = std::move(larger);
            capacity *= 2;
        }
        const std::size_t got = readSome(fd, data.get() + size, capacity - size);
        if (got == 0)
            break;
        size += got;
    }
    data.get()[size] = '\0';
    return data;
}

std::string directoryOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string baseNameOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::atomic<unsigned> temporaryCounter{0};
}  // namespace

void failAtLine(std::size_t offset, std::string what)
{
    throw FileError{Place::Line, offset, std::move(what)};
}

void failAtByte(std::size_t offset, std::string what)
{
    throw FileError{Place::Byte, offset, std::move(what)};
}

void failFile(std::string what)
{
    throw FileError{Place::None, 0, std::move(what)};
}

std::size_t lineOfOffset(const char* data, std::size_t offset)
{
    std::size_t line = 1;
    for (std::size_t i = 0; i < offset; ++i)
    {
        if (data[i] == '\n')
            ++line;
        else if (data[i] == '\r' && data[i + 1] != '\n')
            ++line;
    }
    return line;
}

std::string quoteForMessage(std::string_view text, std::size_t maxLength)
{
    std::string result = "\"";
    const std::size_t shown = std::min(text.size(), maxLength);
    for (std::size_t i = 0; i < shown; ++i)
    {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c < 0x7f && c != '"' && c != '\\')
        {
            result += static_cast<char>(c);
            continue;
        }
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
        result += escaped;
    }
    if (shown < text.size())
        result += "...";
    result += '"';
    return result;
}

void FileBytes::Free::operator()(char* block) const
{
    std::free(block);
}

FileBytes::FileBytes(const std::string& path)
{
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0)
        failFile(systemError("cannot open"));
    struct stat status;
    if (::fstat(fd.get(), &status) != 0)
        failFile(systemError("cannot read"));
    if (S_ISDIR(status.st_mode))
        failFile("cannot read: Is a directory");
    if (S_ISREG(status.st_mode))
    {
        m_size = static_cast<std::size_t>(status.st_size);
        m_data = readRegularFile(fd.get(), m_size);
    }
    else
        m_data = readStream(fd.get(), m_size);
    if (m_size == 0)
        failFile("empty file");
}

void ReadContext::report(std::size_t offset)
{
    m_nextPoll = offset + pollInterval;
    m_options.progress->set(m_size ? static_cast<double>(offset) / m_size : 1.0);
    if (m_options.progress->cancelled())
        failFile("cancelled");
}

OutputFile::OutputFile(const std::string& path, oxUtil::Progress* progress)
    : m_path(path), m_progress(progress), m_buffer(new char[bufferSize])
{
    // Renaming over a device or a pipe would replace it by a plain file (/dev/null for a
    // privileged user), and over a directory cannot work: refuse before creating anything.
    struct stat status;
    if (::lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode))
        failFile(S_ISDIR(status.st_mode)
                     ? "cannot replace a directory"
                     : "cannot replace a special file (device, pipe or socket)");
    // Kept short enough that the temporary's name stays within the usual 255-byte limit.
    const std::string base = baseNameOf(path).substr(0, 200);
    for (int attempt = 0; attempt < 100 && m_fd < 0; ++attempt)
    {
        m_temporaryPath = directoryOf(path) + "." + base + ".tmp-" + std::to_string(::getpid()) +
                          "-" + std::to_string(temporaryCounter.fetch_add(1));
        m_fd = ::open(m_temporaryPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (m_fd < 0 && errno != EEXIST)
            break;
    }
    if (m_fd < 0)
        failFile(systemError("cannot create a temporary file beside it"));
}

OutputFile::~OutputFile()
{
    if (m_committed)
        return;
    if (m_fd >= 0)
        ::close(m_fd);
    ::unlink(m_temporaryPath.c_str());
}

void OutputFile::write(const void* bytes, std::size_t size)
{
    const char* source = static_cast<const char*>(bytes);
    while (size > 0)
    {
        if (m_used == bufferSize)
            flush();
        const std::size_t part = std::min(size, bufferSize - m_used);
        std::memcpy(m_buffer.get() + m_used, source, part);
        m_used += part;
        source += part;
        size -= part;
    }
}

void OutputFile::putFloat(float value)
{
    char* first = room(32);
    advance(static_cast<std::size_t>(std::to_chars(first, first + 32, value).ptr - first));
}

void OutputFile::putInt(long long value)
{
    char* first = room(24);
    advance(static_cast<std::size_t>(std::to_chars(first, first + 24, value).ptr - first));
}

void OutputFile::poll(double fraction)
{
    if (!m_progress)
        return;
    m_progress->set(fraction);
    if (m_progress->cancelled())
        failFile("cancelled");
}

void OutputFile::flush()
{
    const char* next = m_buffer.get();
    std::size_t left = m_used;
    while (left > 0)
    {
        const ssize_t written = ::write(m_fd, next, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            failFile(systemError("write failed"));
        next += written;
        left -= static_cast<std::size_t>(written);
    }
    m_used = 0;
}

void OutputFile::closeFile()
{
    if (m_fd < 0)
        return;
    // A failing close can be the first report of a lost write (NFS, quotas).
    const int result = ::close(m_fd);
    m_fd = -1;
    if (result != 0)
        failFile(systemError("write failed"));
}

void OutputFile::closeUnwritten()
{
    m_used = 0;
    closeFile();
}

void OutputFile::commit()
{
    if (m_fd >= 0)
    {
        flush();
        closeFile();
    }
    if (::rename(m_temporaryPath.c_str(), m_path.c_str()) != 0)
        failFile(systemError("cannot replace the file"));
    m_committed = true;
    if (m_progress)
        m_progress->set(1.0);
}
}  // namespace trelm::files::detail
