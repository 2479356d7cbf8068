#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"

#include <utility>

namespace Profiler
{

ConvertPDBJob::ConvertPDBJob(PDBKey key, uint64_t symbolSettingsHash, std::string cacheFilePath,
    std::string symbolServerPath, std::string symbolCacheDirectory, std::vector<std::string> localSymbolDirectories)
    : Key{std::move(key)},
      SymbolSettingsHash{symbolSettingsHash},
      CacheFilePath{std::move(cacheFilePath)},
      SymbolServerPath{std::move(symbolServerPath)},
      SymbolCacheDirectory{std::move(symbolCacheDirectory)},
      LocalSymbolDirectories{std::move(localSymbolDirectories)}
{}

ConvertPDBProgress::ConvertPDBProgress(PDBKey key, ESymbolLoadState symbolLoadState)
    : Key{std::move(key)},
      SymbolLoadState{symbolLoadState}
{}

ConvertPDBResult::ConvertPDBResult(
    PDBKey key, std::string symbolModulePath, uint64_t symbolSettingsHash, EResult result)
    : Key{std::move(key)},
      SymbolModulePath{std::move(symbolModulePath)},
      SymbolSettingsHash{symbolSettingsHash},
      Result{result}
{}

ResolveFunctionDataJobBase::ResolveFunctionDataJobBase(PDBKey key, uint64_t moduleBaseAddress,
    std::string symbolServerPath, std::string symbolCacheDirectory, std::vector<std::string> localSymbolDirectories)
    : Key{std::move(key)},
      ModuleBaseAddress{moduleBaseAddress},
      SymbolServerPath{std::move(symbolServerPath)},
      SymbolCacheDirectory{std::move(symbolCacheDirectory)},
      LocalSymbolDirectories{std::move(localSymbolDirectories)}
{}

ResolveFunctionDataJob::ResolveFunctionDataJob(PDBKey key, uint64_t moduleBaseAddress, std::string symbolServerPath,
    std::string symbolCacheDirectory, std::vector<std::string> localSymbolDirectories, uint64_t functionAddress,
    uint64_t functionSize, uint64_t functionLineAddress, uint64_t cursorLineAddress)
    : ResolveFunctionDataJobBase{std::move(key), moduleBaseAddress, std::move(symbolServerPath),
          std::move(symbolCacheDirectory), std::move(localSymbolDirectories)},
      FunctionAddress{functionAddress},
      FunctionSize{functionSize},
      FunctionLineAddress{functionLineAddress},
      CursorLineAddress{cursorLineAddress}
{}

ResolveLineDataJob::ResolveLineDataJob(PDBKey key, uint64_t moduleBaseAddress, std::string symbolServerPath,
    std::string symbolCacheDirectory, std::vector<std::string> localSymbolDirectories,
    std::vector<uint64_t> addressesToResolve)
    : ResolveFunctionDataJobBase{std::move(key), moduleBaseAddress, std::move(symbolServerPath),
          std::move(symbolCacheDirectory), std::move(localSymbolDirectories)},
      AddressesToResolve{std::move(addressesToResolve)}
{}

bool SourceLineData::IsComplete() const
{
    if (PathIndices.size() != Lines.size())
        return false;
    for (std::size_t i = 0; i < Lines.size(); ++i)
    {
        if (Lines[i] > 0 && PathIndices[i] >= Paths.size())
            return false;
    }
    return true;
}

}
