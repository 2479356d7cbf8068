#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ProfilerLib/symbols/PDBKey.h"
#include "ProfilerLib/symbols/ResolvedAddress.h"
#include "ProfilerLib/symbols/SymbolModule.h"
#include "ProfilerLib/symbols/SymbolSource.h"
#include "Serialization/RTTI/TypeQueries.h"

namespace Profiler
{

/// Gives the symbols that a test has put in, by module path. Filled by one thread, then asked from any.
class FakeSymbolSource : public SymbolSource
{
public:
    SymbolModule& Add(const std::string& path, const std::vector<Symbol>& symbols)
    {
        SymbolModule& module = mModules[path];
        for (const Symbol& symbol : symbols)
            module.AddSymbol(symbol.Address, symbol.Size, symbol.Name);
        module.Sort();
        return module;
    }

    const SymbolModule* FindSymbolModule(const std::string& path, int32_t timeStamp, int32_t size, int32_t age,
        const SerializableGUID& guid, const std::string& pdbName) override
    {
        // Written only where a test asks for it, since several threads may be here.
        if (mRecordsKeys)
            mKeys.push_back({path, timeStamp, size, age, guid, pdbName});
        ++mNumCalls;
        const auto found = mModules.find(path);
        return found == mModules.end() ? nullptr : &found->second;
    }

    ResolveRequest ResolveFunctionData(const PDBKey& key, uint64_t moduleBase, const ResolvedAddress& resolvedAddress,
        uint64_t functionLineAddress, uint64_t cursorLineAddress, FunctionDataHandler, LineDataHandler,
        CancelHandler onCancelled) override
    {
        mKeys.push_back(key);
        mAddresses = {moduleBase, resolvedAddress.mFunctionAddress, functionLineAddress, cursorLineAddress};
        onCancelled();
        return {nullptr, 7};
    }

    ResolveRequest ResolveLineData(const PDBKey& key, uint64_t moduleBase, const std::vector<uint64_t>& addresses,
        LineDataHandler, CancelHandler onCancelled) override
    {
        mKeys.push_back(key);
        mAddresses = addresses;
        mAddresses.push_back(moduleBase);
        onCancelled();
        return {nullptr, 8};
    }

    std::atomic<int> mNumCalls = 0;
    bool mRecordsKeys = true;
    std::vector<PDBKey> mKeys; ///< of all requests, with the path as it came
    std::vector<uint64_t> mAddresses;

private:
    std::map<std::string, SymbolModule> mModules;
};

/// A stored member of an object, as a file would set it.
template <class V, class T>
V& GetStored(T& object, std::string_view property)
{
    return *static_cast<V*>(RTTI::gFindProperty(RTTI::gTypeOf<T>(), property)->GetAddress(&object));
}

}
