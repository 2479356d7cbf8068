#pragma once

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

/// Asks each server in turn for a program database, and gives the path of a copy on this machine; empty when none has
/// it. What came over the network is kept in the server's cache folder, in the same layout.
std::string gFetchPdb(const Profiler::PDBKey& key, const std::vector<SymbolServer>& servers, const JobControl& control);

/// Asks the servers on the network, as those of debug files, for that of an image; null when none has it.
std::unique_ptr<ElfFile> gFetchDebugFile(
    const ElfFile& image, const std::vector<SymbolServer>& servers, const JobControl& control);

}
