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
struct ResolvedAddress;
struct SerializableGUID;

/// A request for source data that is under way; null and -1 for none.
struct ResolveRequest
{
    SymbolResolver* mResolver = nullptr;
    int32_t mJobHandle = -1;

    bool operator==(const ResolveRequest&) const = default;
};

/// Where a module of a session asks for its symbols. Any thread, and several at once.
class SymbolSource
{
public:
    using FunctionDataHandler = std::function<void(const FunctionData&)>;
    using LineDataHandler = std::function<void(const FunctionLineData&)>;
    using CancelHandler = std::function<void()>;

    virtual ~SymbolSource() = default;

    /// Blocks until the module's symbols are there or refused; null for refused. The result stays owned by the source
    /// and lives as long as that. All who ask for one module get the same pointer.
    [[nodiscard]] virtual const SymbolModule* FindSymbolModule(const std::string& path, int32_t timeStamp, int32_t size,
        int32_t age, const SerializableGUID& guid, const std::string& pdbName) = 0;

    /// Source and disassembly of the function of `resolvedAddress`, in an image that is mapped at `moduleBase`; returns
    /// at once. `functionLineAddress` and `cursorLineAddress` are the addresses whose source lines are wanted as well.
    virtual ResolveRequest ResolveFunctionData(const PDBKey& key, uint64_t moduleBase,
        const ResolvedAddress& resolvedAddress, uint64_t functionLineAddress, uint64_t cursorLineAddress,
        FunctionDataHandler onFunctionData, LineDataHandler onLineData, CancelHandler onCancelled) = 0;

    /// Source lines of a list of addresses; returns at once.
    virtual ResolveRequest ResolveLineData(const PDBKey& key, uint64_t moduleBase,
        const std::vector<uint64_t>& addresses, LineDataHandler onLineData, CancelHandler onCancelled) = 0;
};

}
