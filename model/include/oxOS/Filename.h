#pragma once
// oxOS::Filename: a file path held as UTF-8. Hosts hand paths in as narrow
// UTF-8 or as wide strings (UTF-16 where wchar_t has 16 bits, UTF-32 where it
// has 32); the library passes the narrow form to the C file functions.

#include <string>
#include <utility>

namespace oxOS
{
/// A file path, stored as UTF-8 bytes.
/// Inputs: const char* / std::string (taken as UTF-8 bytes, unchanged), or
/// const wchar_t* / std::wstring (converted to UTF-8; an unpaired surrogate or a
/// value beyond U+10FFFF becomes U+FFFD). A null pointer is the empty path.
/// Thread safety: a value type. Cost: linear in the path length.
class Filename
{
public:
    /// The encoding asked of asMultibyte(). Default is the platform's narrow
    /// file-name encoding, which the library takes to be UTF-8.
    enum Encoding
    {
        Default,
        UTF8
    };

    Filename() = default;
    Filename(const char* path) : m_utf8(path ? path : "") {}
    Filename(std::string path) : m_utf8(std::move(path)) {}
    Filename(const wchar_t* path);
    Filename(const std::wstring& path);

    /// The path as narrow bytes for fopen and friends (the UTF-8 bytes for
    /// both encodings).
    std::string asMultibyte(Encoding encoding = Default) const;
    /// The UTF-8 path.
    const std::string& str() const { return m_utf8; }
    bool empty() const { return m_utf8.empty(); }

    friend bool operator==(const Filename& a, const Filename& b) { return a.m_utf8 == b.m_utf8; }
    friend bool operator!=(const Filename& a, const Filename& b) { return a.m_utf8 != b.m_utf8; }
    friend bool operator<(const Filename& a, const Filename& b) { return a.m_utf8 < b.m_utf8; }

private:
    std::string m_utf8;
};
}  // namespace oxOS
