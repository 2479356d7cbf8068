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

/// The key under which an image's symbols are kept, from its file alone.
///
/// An ELF file gives the first 16 bytes of its build-id as GUID, age 0 and its path as the name. A PE image gives what
/// it says about its program database. False with the reason when the file is neither, or has no such identity.
[[nodiscard]] bool gReadImageKey(const std::string& path, Profiler::PDBKey& key, Utility::Result& result);

/// The GUID that stands for a build-id; a shorter one is filled with zeros.
Profiler::SerializableGUID gMakeBuildIDGuid(std::span<const std::byte> buildID);

/// The age of every key that a build-id gives.
inline constexpr int32_t cBuildIDAge = 0;

}
