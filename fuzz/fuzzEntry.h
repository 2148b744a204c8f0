#pragma once
// The checks each fuzz target applies to one input, shared by the libFuzzer programs and by the
// replay test that runs the stored corpus and regression inputs in the normal suite.
//
// Every reader is fed the bytes as a file and must either fail with one line of text and leave
// its mesh as it was, or succeed with a mesh that passes meshVerify (every index in range, every
// position finite; meshRead alone may give non-finite positions, which its format allows).
// Anything else (a crash, a sanitizer report, or one of those properties
// broken) is a finding.

#include <cstddef>
#include <cstdint>
#include <string>

namespace trelmfuzz
{
/// The readers under test, one per fuzz target.
enum class Target
{
    Obj,        ///< trelm_formats, OBJ
    PlyAscii,   ///< trelm_formats, PLY (seeded with ASCII files)
    PlyBinary,  ///< trelm_formats, PLY (seeded with binary files of both byte orders)
    StlAscii,   ///< trelm_formats, STL (seeded with ASCII files)
    StlBinary,  ///< trelm_formats, STL with the triangle count made to match the input's size
    Off,        ///< trelm_formats, OFF
    Text,       ///< trelm_formats, the library's text format
    MeshRead,   ///< the library's meshRead, into a CompactMesh and into a TopoMesh
};

/// Number of targets; Target values are 0 .. targetCount - 1.
constexpr int targetCount = 8;

/// The target's short name ("obj", "ply_ascii", ... "meshread"): the name of its fuzz program
/// (fuzz_<name>) and of its corpus and regression folders.
const char* targetName(Target target);

/// Reads `data` (`size` bytes) with `target`'s reader(s) and checks the outcome.
/// Returns an empty string when everything held, else one line saying which property broke.
/// Thread safety: not reentrant (one scratch in-memory file per process). Cost: one read.
std::string checkInput(Target target, const std::uint8_t* data, std::size_t size);
}  // namespace trelmfuzz
