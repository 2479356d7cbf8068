#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "ProfilerLib/symbols/PDBKey.h"

namespace Utility
{
class Result;
}

namespace Symbols
{

/// What tells an image apart, from its file alone.
struct ImageIdentity
{
    /// Under which its symbols are kept. An ELF file gives the first 16 bytes of its build-id as GUID, age 0 and its
    /// path as the name; a PE image gives what it says about its program database.
    Profiler::PDBKey mKey;
    /// The address that the image has if nobody moves it: what other tools count its addresses from.
    uint64_t mBase = 0;

    /// False with the reason when the file is neither, or has no such identity.
    [[nodiscard]] bool Read(const std::string& path, Utility::Result& result);

private:
    [[nodiscard]] bool ReadElf(const std::string& path, Utility::Result& result);
    [[nodiscard]] bool ReadPe(const std::string& path, Utility::Result& result);
};

/// The GUID that stands for a build-id; a shorter one is filled with zeros.
Profiler::SerializableGUID gMakeBuildIDGuid(std::span<const std::byte> buildID);

/// The age of every key that a build-id gives.
inline constexpr int32_t cBuildIDAge = 0;

}
