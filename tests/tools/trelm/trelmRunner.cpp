// Support for the trelm tool's end-to-end tests: the tool runs as a child process with its
// standard streams in files of a scratch directory, so the tests see exactly what a shell user
// sees (texts, exit status, files left behind).

#include "trelmRunner.h"

#include <meshFiles.h>

#include <gtest/gtest.h>
#include <png.h>

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace clitest
{
namespace
{
std::vector<char*> argumentVector(const std::vector<std::string>& args)
{
    static std::string program = TRELM_CLI_PATH;
    std::vector<char*> argv;
    argv.push_back(program.data());
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    return argv;
}

pid_t spawn(const std::vector<std::string>& args, const std::string& inPath,
            const std::string& outPath, const std::string& errPath)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, inPath.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    std::vector<char*> argv = argumentVector(args);
    pid_t pid = -1;
    const int failed = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0)
        throw std::runtime_error(std::string("cannot start trelm: ") + std::strerror(failed));
    return pid;
}

// Minimal recursive-descent JSON reader.
class JsonParser
{
public:
    explicit JsonParser(const std::string& text) : m_text(text) {}

    Json document()
    {
        Json value = parseValue();
        skipBlanks();
        if (m_pos != m_text.size())
            fail("text after the document");
        return value;
    }

private:
    [[noreturn]] void fail(const char* what) const
    {
        throw std::runtime_error("JSON: " + std::string(what) + " at offset " +
                                 std::to_string(m_pos));
    }
    void skipBlanks()
    {
        while (m_pos < m_text.size() && std::strchr(" \t\r\n", m_text[m_pos]) != nullptr)
            ++m_pos;
    }
    bool take(const char* word)
    {
        const std::size_t n = std::strlen(word);
        if (m_text.compare(m_pos, n, word) != 0)
            return false;
        m_pos += n;
        return true;
    }
    void expect(char c)
    {
        skipBlanks();
        if (m_pos >= m_text.size() || m_text[m_pos] != c)
            fail("unexpected character");
        ++m_pos;
    }
    Json parseValue()
    {
        skipBlanks();
        if (m_pos >= m_text.size())
            fail("unexpected end");
        Json value;
        const char c = m_text[m_pos];
        if (c == '{')
            parseObject(value);
        else if (c == '[')
            parseArray(value);
        else if (c == '"')
        {
            value.kind = Json::String;
            value.text = parseString();
        }
        else if (take("null"))
            value.kind = Json::Null;
        else if (take("true"))
        {
            value.kind = Json::Bool;
            value.boolean = true;
        }
        else if (take("false"))
            value.kind = Json::Bool;
        else
            parseNumber(value);
        return value;
    }
    void parseObject(Json& value)
    {
        value.kind = Json::Object;
        expect('{');
        skipBlanks();
        if (m_pos < m_text.size() && m_text[m_pos] == '}')
        {
            ++m_pos;
            return;
        }
        do
        {
            skipBlanks();
            const std::string name = parseString();
            expect(':');
            value.members[name] = parseValue();
            skipBlanks();
        } while (m_pos < m_text.size() && m_text[m_pos] == ',' && ++m_pos);
        expect('}');
    }
    void parseArray(Json& value)
    {
        value.kind = Json::Array;
        expect('[');
        skipBlanks();
        if (m_pos < m_text.size() && m_text[m_pos] == ']')
        {
            ++m_pos;
            return;
        }
        do
        {
            value.items.push_back(parseValue());
            skipBlanks();
        } while (m_pos < m_text.size() && m_text[m_pos] == ',' && ++m_pos);
        expect(']');
    }
    std::string parseString()
    {
        expect('"');
        std::string text;
        while (m_pos < m_text.size() && m_text[m_pos] != '"')
        {
            char c = m_text[m_pos++];
            if (c == '\\' && m_pos < m_text.size())
            {
                const char e = m_text[m_pos++];
                c = e == 'n' ? '\n' : e == 't' ? '\t' : e;
                if (e == 'u')
                {
                    c = char(std::strtol(m_text.substr(m_pos, 4).c_str(), nullptr, 16));
                    m_pos += 4;
                }
            }
            text += c;
        }
        expect('"');
        return text;
    }
    void parseNumber(Json& value)
    {
        const char* begin = m_text.c_str() + m_pos;
        char* end = nullptr;
        value.number = std::strtod(begin, &end);
        if (end == begin)
            fail("not a value");
        value.kind = Json::Number;
        m_pos += std::size_t(end - begin);
    }

    const std::string& m_text;
    std::size_t m_pos = 0;
};
}  // namespace

RunResult runTrelm(const std::vector<std::string>& args, const std::string& input)
{
    ScratchDir io;
    writeFile(io.path("in"), input);
    const pid_t pid = spawn(args, io.path("in"), io.path("out"), io.path("err"));
    RunResult result = waitTrelm(pid);
    result.out = readFile(io.path("out"));
    result.err = readFile(io.path("err"));
    return result;
}

pid_t startTrelm(const std::vector<std::string>& args, const std::string& outPath,
                 const std::string& errPath)
{
    return spawn(args, "/dev/null", outPath, errPath);
}

RunResult waitTrelm(pid_t pid)
{
    RunResult result;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR)
    {
    }
    if (WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    else if (WIFSIGNALED(status))
        result.signal = WTERMSIG(status);
    return result;
}

ScratchDir::ScratchDir()
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/trelm-cli-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("cannot create a scratch directory");
    m_path = pattern;
}

ScratchDir::~ScratchDir()
{
    for (const std::string& name : files())
        unlink(path(name).c_str());
    rmdir(m_path.c_str());
}

std::vector<std::string> ScratchDir::files() const
{
    std::vector<std::string> names;
    if (DIR* dir = opendir(m_path.c_str()))
    {
        while (const dirent* entry = readdir(dir))
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                names.push_back(entry->d_name);
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string bunnyPath()
{
    return std::string(TRELM_DATA_DIR) + "/bunny.ply";
}

std::string assimpModel(const std::string& relative)
{
    const std::string path = std::string(TRELM_ASSIMP_MODELS) + "/" + relative;
    return fileExists(path) ? path : std::string();
}

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

bool fileExists(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file << bytes;
}

oxGeom::CompactMesh readMesh(const std::string& path)
{
    oxGeom::CompactMesh mesh;
    const trelm::files::FileResult result = trelm::files::readMesh(path, mesh);
    EXPECT_TRUE(result.ok) << result.message;
    return mesh;
}

void writeMesh(const std::string& path, const oxGeom::CompactMesh& mesh)
{
    const trelm::files::FileResult result = trelm::files::writeMesh(path, mesh);
    ASSERT_TRUE(result.ok) << result.message;
}

oxGeom::CompactMesh makeMesh(const std::vector<float>& xyz, const std::vector<int>& corners)
{
    oxGeom::CompactMesh mesh(int(xyz.size() / 3),
                             reinterpret_cast<const oxGeom::MeshVertex*>(xyz.data()), nullptr,
                             nullptr, nullptr);
    mesh.copyTriangles(int(corners.size() / 3), corners.data());
    return mesh;
}

bool readPng(const std::string& path, Picture& picture)
{
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str()))
        return false;
    image.format = PNG_FORMAT_RGBA;
    picture.width = int(image.width);
    picture.height = int(image.height);
    picture.rgba.assign(PNG_IMAGE_SIZE(image), 0);
    const bool ok = png_image_finish_read(&image, nullptr, picture.rgba.data(), 0, nullptr) != 0;
    png_image_free(&image);
    return ok;
}

const Json& Json::operator[](const std::string& name) const
{
    static const Json none;
    const auto found = members.find(name);
    return kind == Object && found != members.end() ? found->second : none;
}

const Json& Json::operator[](std::size_t i) const
{
    static const Json none;
    return kind == Array && i < items.size() ? items[i] : none;
}

Json parseJson(const std::string& text)
{
    return JsonParser(text).document();
}
}  // namespace clitest
