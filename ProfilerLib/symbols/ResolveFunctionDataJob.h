#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ProfilerLib/symbols/PDBKey.h"
#include "ProfilerLib/symbols/RemoteJob.h"

namespace Profiler
{

/// What both jobs need that ask for source code.
struct ResolveFunctionDataJobBase : RemoteJobBase
{
    PDBKey Key;
    uint64_t ModuleBaseAddress = 0;
    std::string SymbolServerPath; ///< "srv*CACHE*SERVER" parts, joined by ";"
    std::string SymbolCacheDirectory;
    std::vector<std::string> LocalSymbolDirectories;

    ResolveFunctionDataJobBase() = default;
    ResolveFunctionDataJobBase(PDBKey key, uint64_t moduleBaseAddress, std::string symbolServerPath,
        std::string symbolCacheDirectory, std::vector<std::string> localSymbolDirectories);

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<ResolveFunctionDataJobBase>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<ResolveFunctionDataJobBase>("Profiler::ResolveFunctionDataJobBase", RTTI::Version{1},
            RTTI::Base<RemoteJobBase>{}, RTTI::Field<&ResolveFunctionDataJobBase::Key>{"Key"},
            RTTI::Field<&ResolveFunctionDataJobBase::ModuleBaseAddress>{"ModuleBaseAddress"},
            RTTI::Field<&ResolveFunctionDataJobBase::SymbolServerPath>{"SymbolServerPath"},
            RTTI::Field<&ResolveFunctionDataJobBase::SymbolCacheDirectory>{"SymbolCacheDirectory"},
            RTTI::Field<&ResolveFunctionDataJobBase::LocalSymbolDirectories>{"LocalSymbolDirectories"});
    }
};

/// To the worker: source and disassembly of one function. It answers with one `FunctionData`. Addresses are those of
/// the recorded process.
struct ResolveFunctionDataJob : ResolveFunctionDataJobBase
{
    uint64_t FunctionAddress = 0; ///< of its start
    uint64_t FunctionSize = 0;
    uint64_t FunctionLineAddress = 0; ///< whose line becomes `FunctionData::ResolvedFunctionLine`
    uint64_t CursorLineAddress = 0;   ///< whose line becomes `FunctionData::ResolvedCursorLine`

    ResolveFunctionDataJob() = default;
    ResolveFunctionDataJob(PDBKey key, uint64_t moduleBaseAddress, std::string symbolServerPath,
        std::string symbolCacheDirectory, std::vector<std::string> localSymbolDirectories, uint64_t functionAddress,
        uint64_t functionSize, uint64_t functionLineAddress, uint64_t cursorLineAddress);

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<ResolveFunctionDataJob>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<ResolveFunctionDataJob>("Profiler::ResolveFunctionDataJob", RTTI::Version{1},
            RTTI::Base<ResolveFunctionDataJobBase>{},
            RTTI::Field<&ResolveFunctionDataJob::FunctionAddress>{"FunctionAddress"},
            RTTI::Field<&ResolveFunctionDataJob::FunctionSize>{"FunctionSize"},
            RTTI::Field<&ResolveFunctionDataJob::FunctionLineAddress>{"FunctionLineAddress"},
            RTTI::Field<&ResolveFunctionDataJob::CursorLineAddress>{"CursorLineAddress"});
    }
};

/// To the worker: the source lines of a list of addresses. It answers with one `FunctionLineData`.
struct ResolveLineDataJob : ResolveFunctionDataJobBase
{
    std::vector<uint64_t> AddressesToResolve;

    ResolveLineDataJob() = default;
    ResolveLineDataJob(PDBKey key, uint64_t moduleBaseAddress, std::string symbolServerPath,
        std::string symbolCacheDirectory, std::vector<std::string> localSymbolDirectories,
        std::vector<uint64_t> addressesToResolve);

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<ResolveLineDataJob>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<ResolveLineDataJob>("Profiler::ResolveLineDataJob", RTTI::Version{1},
            RTTI::Base<ResolveFunctionDataJobBase>{},
            RTTI::Field<&ResolveLineDataJob::AddressesToResolve>{"AddressesToResolve"});
    }
};

/// To the worker: the same with the files that the lines are in. It answers with one `SourceLineData`.
struct ResolveSourceLinesJob : ResolveLineDataJob
{
    using ResolveLineDataJob::ResolveLineDataJob;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<ResolveSourceLinesJob>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<ResolveSourceLinesJob>(
            "Profiler::ResolveSourceLinesJob", RTTI::Version{1}, RTTI::Base<ResolveLineDataJob>{});
    }
};

}
