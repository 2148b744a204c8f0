// The libFuzzer entry of one reader; TRELM_FUZZ_TARGET (a trelmfuzz::Target enumerator) is set
// per program by fuzz/CMakeLists.txt, so every reader is its own fuzz program over one source.

#include "fuzzEntry.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string problem =
        trelmfuzz::checkInput(trelmfuzz::Target::TRELM_FUZZ_TARGET, data, size);
    if (!problem.empty())
    {
        std::fprintf(stderr, "%s: %s\n",
                     trelmfuzz::targetName(trelmfuzz::Target::TRELM_FUZZ_TARGET), problem.c_str());
        std::abort();
    }
    return 0;
}
