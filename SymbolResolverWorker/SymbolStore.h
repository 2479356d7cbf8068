#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "SymbolResolverWorker/SymbolSearch.h"

namespace Profiler
{
struct PDBKey;
}

namespace Symbols
{

class ElfFile;
class JobControl;

/// "app.pdb/6B29FC40CA471067B31D00DD010662DA1A/app.pdb": where symbol stores keep a program database. Empty when its
/// name cannot be one in a store.
std::string gMakeStorePath(const Profiler::PDBKey& key);

/// Opens a copy on this machine, and says whether it is the wanted file.
using TakeFile = std::function<bool(const std::string& path)>;

/// Asks each server in turn for a program database, until `take` has one. What came over the network is kept in the
/// server's cache folder, in the layout of a store, unless it is not wanted. False when none has it.
[[nodiscard]] bool gFetchPdb(const Profiler::PDBKey& key, const std::vector<SymbolServer>& servers,
    const JobControl& control, const TakeFile& take);

/// Asks the servers on the network, as those of debug files, for that of an image by its build-id; null when none has
/// it. Kept in the cache folder, below "debuginfod".
std::unique_ptr<ElfFile> gFetchDebugFile(
    const ElfFile& image, const std::vector<SymbolServer>& servers, const JobControl& control);

}
