// The --json writer of the trelm tool. Written by hand rather than taken from a JSON library:
// the tool only emits small documents, and the one thing that matters, numbers that read back
// bit for bit, is a few lines of printf.

#include "json.h"

#include "cliCommon.h"

#include <cmath>

namespace trelm::cli
{
JsonWriter& JsonWriter::beginObject()
{
    beforeValue();
    std::fputc('{', m_out);
    m_hasMembers.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::endObject()
{
    close('}');
    return *this;
}

JsonWriter& JsonWriter::beginArray()
{
    beforeValue();
    std::fputc('[', m_out);
    m_hasMembers.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::endArray()
{
    close(']');
    return *this;
}

JsonWriter& JsonWriter::key(const char* name)
{
    beforeValue();
    writeString(name);
    std::fputs(": ", m_out);
    m_afterKey = true;
    return *this;
}

JsonWriter& JsonWriter::value(double number)
{
    if (!std::isfinite(number))
        return null();
    beforeValue();
    std::fputs(formatNumber(number).c_str(), m_out);
    return *this;
}

JsonWriter& JsonWriter::value(int number)
{
    return value(static_cast<long long>(number));
}

JsonWriter& JsonWriter::value(long long number)
{
    beforeValue();
    std::fprintf(m_out, "%lld", number);
    return *this;
}

JsonWriter& JsonWriter::value(bool flag)
{
    beforeValue();
    std::fputs(flag ? "true" : "false", m_out);
    return *this;
}

JsonWriter& JsonWriter::value(const std::string& text)
{
    beforeValue();
    writeString(text);
    return *this;
}

JsonWriter& JsonWriter::null()
{
    beforeValue();
    std::fputs("null", m_out);
    return *this;
}

JsonWriter& JsonWriter::triple(double x, double y, double z)
{
    beforeValue();
    std::fputc('[', m_out);
    const double values[3] = {x, y, z};
    for (int i = 0; i < 3; ++i)
    {
        if (i > 0)
            std::fputs(", ", m_out);
        std::fputs(std::isfinite(values[i]) ? formatNumber(values[i]).c_str() : "null", m_out);
    }
    std::fputc(']', m_out);
    return *this;
}

void JsonWriter::finish()
{
    std::fputc('\n', m_out);
    std::fflush(m_out);
}

void JsonWriter::beforeValue()
{
    if (m_afterKey)
    {
        m_afterKey = false;
        return;
    }
    if (m_hasMembers.empty())
        return;
    if (m_hasMembers.back())
        std::fputc(',', m_out);
    m_hasMembers.back() = true;
    newline();
}

void JsonWriter::close(char bracket)
{
    const bool hadMembers = m_hasMembers.back();
    m_hasMembers.pop_back();
    if (hadMembers)
        newline();
    std::fputc(bracket, m_out);
}

void JsonWriter::newline()
{
    std::fputc('\n', m_out);
    for (std::size_t level = 0; level < m_hasMembers.size(); ++level)
        std::fputs("  ", m_out);
}

void JsonWriter::writeString(const std::string& text)
{
    std::fputc('"', m_out);
    for (unsigned char c : text)
    {
        if (c == '"' || c == '\\')
            std::fprintf(m_out, "\\%c", c);
        else if (c == '\n')
            std::fputs("\\n", m_out);
        else if (c == '\t')
            std::fputs("\\t", m_out);
        else if (c < 0x20)
            std::fprintf(m_out, "\\u%04x", c);
        else
            std::fputc(c, m_out);
    }
    std::fputc('"', m_out);
}
}  // namespace trelm::cli
