#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Profiler
{

class SymbolModule;
class SymbolResolver;
struct FunctionData;
struct FunctionLineData;
struct PDBKey;
struct SerializableGUID;

/// A request for source data that is under way; -1 and null for none.
struct ResolveRequest
{
    SymbolResolver* mResolver = nullptr;
    int32_t mJobHandle = -1;
};

/// Where a module of a session asks for its symbols. Any thread.
class SymbolSource
{
public:
    using FunctionDataHandler = std::function<void(const FunctionData&)>;
    using LineDataHandler = std::function<void(const FunctionLineData&)>;
    using CancelHandler = std::function<void()>;

    virtual ~SymbolSource() = default;

    /// Blocks until the module's symbols are there or refused; null for refused. The module stays owned by the source.
    virtual const SymbolModule* FindSymbolModule(const std::string& path, int32_t timeStamp, int32_t size, int32_t age,
        const SerializableGUID& guid, const std::string& pdbName) = 0;

    /// Source and disassembly of a function; returns at once.
    virtual ResolveRequest ResolveFunctionData(const PDBKey& key, uint64_t moduleBase, uint64_t functionAddress,
        uint64_t functionSize, uint64_t functionLineAddress, uint64_t cursorLineAddress,
        FunctionDataHandler onFunctionData, LineDataHandler onLineData, CancelHandler onCancelled) = 0;

    /// Source lines of a list of addresses; returns at once.
    virtual ResolveRequest ResolveLineData(const PDBKey& key, uint64_t moduleBase,
        const std::vector<uint64_t>& addresses, LineDataHandler onLineData, CancelHandler onCancelled) = 0;
};

}
