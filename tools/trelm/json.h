#pragma once
// A small streaming JSON writer for the tool's --json output: objects, arrays, strings,
// numbers that read back exactly, booleans and null, indented two blanks per level.

#include <cstdio>
#include <string>
#include <vector>

namespace trelm::cli
{
/// Writes one JSON document to a FILE*.
///
/// Calls must nest correctly (every begin has its end; inside an object every value is
/// preceded by key()); finish() ends the document with a newline. Non-finite numbers are
/// written as null, since JSON has no spelling for them. Doubles are written with the
/// shortest text that reads back as the same value.
/// Not thread-safe; one writer per document.
class JsonWriter
{
public:
    explicit JsonWriter(std::FILE* out) : m_out(out) {}

    JsonWriter& beginObject();
    JsonWriter& endObject();
    JsonWriter& beginArray();
    JsonWriter& endArray();
    /// The name of the next member of the current object.
    JsonWriter& key(const char* name);

    JsonWriter& value(double number);
    JsonWriter& value(int number);
    JsonWriter& value(long long number);
    JsonWriter& value(bool flag);
    JsonWriter& value(const std::string& text);
    JsonWriter& value(const char* text) { return value(std::string(text)); }
    JsonWriter& null();
    /// An array of three numbers on one line, for points and vectors.
    JsonWriter& triple(double x, double y, double z);

    /// Ends the document with a newline.
    void finish();

private:
    void beforeValue();
    void close(char bracket);
    void newline();
    void writeString(const std::string& text);

    std::FILE* m_out;
    // Per open container: whether it has members yet.
    std::vector<bool> m_hasMembers;
    bool m_afterKey = false;
};
}  // namespace trelm::cli
