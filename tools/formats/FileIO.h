#pragma once
// Internal to trelm_formats: whole-file input, crash-safe buffered output and the error the
// readers and writers throw, which meshFiles.cpp turns into the caller's one-line message.

#include "meshFiles.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace trelm::files::detail
{
/// How the place of a problem is shown: as a line of text, as a byte offset of binary data, or
/// not at all (I/O errors, cancellation, whole-file problems).
enum class Place
{
    None,
    Line,
    Byte,
};

/// What a reader or writer throws: what is wrong and where. `offset` is a byte offset into the
/// file, shown as a line number for Place::Line.
struct FileError
{
    Place place = Place::None;
    std::size_t offset = 0;
    std::string what;
};

/// Throws FileError{Place::Line, offset, what}.
[[noreturn]] void failAtLine(std::size_t offset, std::string what);
/// Throws FileError{Place::Byte, offset, what}.
[[noreturn]] void failAtByte(std::size_t offset, std::string what);
/// Throws FileError{Place::None, 0, what}.
[[noreturn]] void failFile(std::string what);

/// The 1-based line holding byte `offset` of `data` (bytes [0, offset) are scanned). Line breaks
/// are "\n", "\r\n" and a lone "\r". Cost O(offset).
std::size_t lineOfOffset(const char* data, std::size_t offset);

/// At most `maxLength` bytes of `text` in double quotes, with control and non-ASCII bytes shown
/// as \xNN and a trailing "..." when cut, so that file content never breaks a one-line message.
std::string quoteForMessage(std::string_view text, std::size_t maxLength = 32);

/// The whole content of a file, followed by one zero byte that is not part of it (so scanners
/// may look one byte past the end).
class FileBytes
{
public:
    /// Reads file `path` (a regular file in one read, or any readable stream to its end).
    /// Throws FileError (Place::None) when it cannot be opened or read, and for a file of zero
    /// bytes ("empty file"). Cost: one allocation of the file's size.
    explicit FileBytes(const std::string& path);

    const char* data() const { return m_data.get(); }
    std::size_t size() const { return m_size; }

    struct Free
    {
        void operator()(char* block) const;
    };
    using Block = std::unique_ptr<char, Free>;

private:
    Block m_data;
    std::size_t m_size = 0;
};

/// What every reader is handed: the file's bytes and the caller's options.
class ReadContext
{
public:
    ReadContext(const char* data, std::size_t size, const ReadOptions& options)
        : m_data(data), m_size(size), m_options(options)
    {
    }

    const char* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    /// One past the last byte; *end() is a zero byte.
    const char* end() const { return m_data + m_size; }
    std::size_t offsetOf(const char* position) const
    {
        return static_cast<std::size_t>(position - m_data);
    }
    bool allowNonFinite() const { return m_options.allowNonFinite; }

    /// Reports that the reader got to byte `offset`, at most once per megabyte; throws
    /// FileError("cancelled") when the caller's progress was cancelled. Cheap to call often.
    void poll(std::size_t offset)
    {
        if (m_options.progress && offset >= m_nextPoll)
            report(offset);
    }

private:
    void report(std::size_t offset);

    const char* m_data;
    std::size_t m_size;
    const ReadOptions& m_options;
    std::size_t m_nextPoll = 0;
};

/// A file written under a temporary name in the destination's directory and renamed to the
/// destination by commit(); destroying it uncommitted removes the temporary.
/// All members throw FileError (Place::None) on failure.
class OutputFile
{
public:
    /// Creates the temporary ".<name>.tmp-<pid>-<n>" beside `path` (exclusively, mode 0666
    /// before the umask). `progress` (optional) is what poll() reports to.
    OutputFile(const std::string& path, oxUtil::Progress* progress);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Appends `size` bytes.
    void write(const void* bytes, std::size_t size);
    /// At least `size` (<= bufferSize) writable bytes at the end of the buffer; advance() by the
    /// number filled.
    char* room(std::size_t size)
    {
        if (m_used + size > bufferSize)
            flush();
        return m_buffer.get() + m_used;
    }
    void advance(std::size_t size) { m_used += size; }

    void putChar(char c) { *room(1) = c, advance(1); }
    void putText(std::string_view text) { write(text.data(), text.size()); }
    /// The shortest decimal text that reads back as exactly `value` ("nan", "inf" included).
    void putFloat(float value);
    void putInt(long long value);

    /// Reports `fraction` of the work done and throws FileError("cancelled") when the caller's
    /// progress was cancelled.
    void poll(double fraction);

    /// The temporary's name, for a writer that fills it through its own file functions after
    /// closeUnwritten().
    const std::string& temporaryPath() const { return m_temporaryPath; }
    /// Closes the temporary without writing the buffer (which must be empty).
    void closeUnwritten();

    /// Writes what is buffered, closes the temporary and renames it to the destination.
    void commit();

    static constexpr std::size_t bufferSize = std::size_t(1) << 20;

private:
    void flush();
    void closeFile();

    std::string m_path;
    std::string m_temporaryPath;
    oxUtil::Progress* m_progress;
    int m_fd = -1;
    bool m_committed = false;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_used = 0;
};
}  // namespace trelm::files::detail
