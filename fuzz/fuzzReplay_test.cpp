// Replays every stored fuzz input (the hand-written seed corpus and the inputs that once broke a
// reader) through the fuzz targets' checks, so that the normal suite guards against their return.

#include "fuzzEntry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

// Readers must not allocate from a count they have not checked against the size of the file. The
// stored inputs are all small, so one allocation above this size means a reader believed a count
// the file cannot hold; it is refused (the reader sees std::bad_alloc) and reported.
namespace
{
constexpr std::size_t largestAllocation = std::size_t(256) << 20;
std::atomic<std::size_t> g_refusedAllocation{0};
}  // namespace

// All three kept out of line: inlined into a caller, the malloc() and free() would look to the
// compiler like a block of one allocator released by another.
__attribute__((noinline)) void* operator new(std::size_t size)
{
    if (size > largestAllocation)
    {
        g_refusedAllocation.store(size);
        throw std::bad_alloc();
    }
    if (void* block = std::malloc(size ? size : 1))
        return block;
    throw std::bad_alloc();
}

__attribute__((noinline)) void operator delete(void* block) noexcept
{
    std::free(block);
}
__attribute__((noinline)) void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}

namespace
{
namespace fs = std::filesystem;

std::vector<fs::path> storedInputs(trelmfuzz::Target target)
{
    std::vector<fs::path> files;
    for (const char* folder : {"corpus", "regressions"})
    {
        const fs::path dir = fs::path(TRELM_FUZZ_DIR) / folder / trelmfuzz::targetName(target);
        if (!fs::is_directory(dir))
            continue;
        for (const fs::directory_entry& entry : fs::directory_iterator(dir))
            if (entry.is_regular_file())
                files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// The contract check of one input plus the allocation check above.
std::string replay(trelmfuzz::Target target, const std::vector<std::uint8_t>& bytes, std::size_t n)
{
    g_refusedAllocation.store(0);
    std::string problem = trelmfuzz::checkInput(target, bytes.data(), n);
    if (const std::size_t refused = g_refusedAllocation.load())
        problem += (problem.empty() ? "" : "; ") + std::string("asked for ") +
                   std::to_string(refused) + " bytes at once while reading " + std::to_string(n) +
                   " bytes";
    return problem;
}

std::vector<std::uint8_t> fileBytes(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {});
}

class FuzzReplay : public ::testing::TestWithParam<trelmfuzz::Target>
{
};

std::string paramName(const ::testing::TestParamInfo<trelmfuzz::Target>& info)
{
    return trelmfuzz::targetName(info.param);
}
}  // namespace

TEST_P(FuzzReplay, storedInputsKeepReaderContract)
{
    const std::vector<fs::path> files = storedInputs(GetParam());
    ASSERT_FALSE(files.empty()) << "no stored inputs for " << trelmfuzz::targetName(GetParam());
    for (const fs::path& file : files)
    {
        const std::vector<std::uint8_t> bytes = fileBytes(file);
        EXPECT_EQ(replay(GetParam(), bytes, bytes.size()), "") << file.string();
    }
}

TEST(FuzzReplay, everyPrefixOfStoredInputsKeepsReaderContract)
{
    // Truncation is the commonest damage a file suffers; every prefix of the small stored
    // inputs must fail cleanly or read a valid mesh.
    for (int t = 0; t < trelmfuzz::targetCount; ++t)
    {
        const auto target = static_cast<trelmfuzz::Target>(t);
        for (const fs::path& file : storedInputs(target))
        {
            const std::vector<std::uint8_t> bytes = fileBytes(file);
            if (bytes.size() > 2048)
                continue;
            for (std::size_t n = 0; n < bytes.size(); ++n)
                ASSERT_EQ(replay(target, bytes, n), "")
                    << file.string() << " cut to " << n << " bytes";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Readers, FuzzReplay,
                         ::testing::Values(trelmfuzz::Target::Obj, trelmfuzz::Target::PlyAscii,
                                           trelmfuzz::Target::PlyBinary,
                                           trelmfuzz::Target::StlAscii,
                                           trelmfuzz::Target::StlBinary, trelmfuzz::Target::Off,
                                           trelmfuzz::Target::Text, trelmfuzz::Target::MeshRead),
                         paramName);
