#pragma once

#include <string>

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
    /// path as the name; one without a build-id XXH64 and size of the whole file, and age 1. A PE image gives what it
    /// says about its program database.
    Profiler::PDBKey mKey;
    /// The address that the image has if nobody moves it: what other tools count its addresses from.
    uint64_t mBase = 0;

    /// False with the reason when the file is neither, or has no such identity.
    [[nodiscard]] bool Read(const std::string& path, Utility::Result& result);

    /// Whether this is the image that a key names, wherever it lies.
    bool IsOf(const Profiler::PDBKey& key) const { return mKey.PDBGUID == key.PDBGUID && mKey.PDBAge == key.PDBAge; }

private:
    [[nodiscard]] bool ReadElf(const std::string& path, Utility::Result& result);
    [[nodiscard]] bool ReadPe(const std::string& path, Utility::Result& result);
};

}
