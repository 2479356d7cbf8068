#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ProfilerLib/symbols/PDBKey.h"
#include "ProfilerLib/symbols/RemoteJob.h"

namespace Profiler
{

/// To the worker: find a program database and turn it into a symbol module file. It answers with `ConvertPDBProgress`
/// for each stage and with one `ConvertPDBResult`.
struct ConvertPDBJob : RemoteJobBase
{
    PDBKey Key;
    uint64_t SymbolSettingsHash = 0; ///< of the settings that the result is made under
    std::string CacheFilePath;       ///< where the file is to be written
    std::string SymbolServerPath;    ///< "srv*CACHE*SERVER" parts, joined by ";"
    std::string SymbolCacheDirectory;
    std::vector<std::string> LocalSymbolDirectories;

    ConvertPDBJob() = default;
    ConvertPDBJob(PDBKey key, uint64_t symbolSettingsHash, std::string cacheFilePath, std::string symbolServerPath,
        std::string symbolCacheDirectory, std::vector<std::string> localSymbolDirectories);

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<ConvertPDBJob>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<ConvertPDBJob>("Profiler::ConvertPDBJob", RTTI::Version{1}, RTTI::Base<RemoteJobBase>{},
            RTTI::Field<&ConvertPDBJob::Key>{"Key"},
            RTTI::Field<&ConvertPDBJob::SymbolSettingsHash>{"SymbolSettingsHash"},
            RTTI::Field<&ConvertPDBJob::CacheFilePath>{"CacheFilePath"},
            RTTI::Field<&ConvertPDBJob::SymbolServerPath>{"SymbolServerPath"},
            RTTI::Field<&ConvertPDBJob::SymbolCacheDirectory>{"SymbolCacheDirectory"},
            RTTI::Field<&ConvertPDBJob::LocalSymbolDirectories>{"LocalSymbolDirectories"});
    }
};

/// The stages of a module's load.
enum class ESymbolLoadState : int32_t
{
    StartLoadingFromCache = 0,
    StartDownloadAndConvert = 1,
    Finished = 2,
};

consteval auto gDescribe(RTTI::EnumTag<ESymbolLoadState>)
{
    return RTTI::gDescribeEnum<ESymbolLoadState>(
        "Profiler::ESymbolLoadState", {{"StartLoadingFromCache", ESymbolLoadState::StartLoadingFromCache},
                                          {"StartDownloadAndConvert", ESymbolLoadState::StartDownloadAndConvert},
                                          {"Finished", ESymbolLoadState::Finished}});
}

/// From the worker: a stage of a conversion has begun.
struct ConvertPDBProgress : RTTI::Object
{
    PDBKey Key;
    ESymbolLoadState SymbolLoadState = ESymbolLoadState::StartDownloadAndConvert;

    ConvertPDBProgress() = default;
    ConvertPDBProgress(PDBKey key, ESymbolLoadState symbolLoadState);

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<ConvertPDBProgress>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<ConvertPDBProgress>("Profiler::ConvertPDBProgress", RTTI::Version{1},
            RTTI::Base<RTTI::Object>{}, RTTI::Field<&ConvertPDBProgress::Key>{"Key"},
            RTTI::Field<&ConvertPDBProgress::SymbolLoadState>{"SymbolLoadState"});
    }
};

/// From the worker: what has become of a `ConvertPDBJob`.
struct ConvertPDBResult : RTTI::Object
{
    enum class EResult : uint8_t
    {
        Success = 0,
        DIAError = 1, ///< the program database could not be had or not be read
        FileError = 2,
        Canceled = 3,
    };

    PDBKey Key;                      ///< the job's
    std::string SymbolModulePath;    ///< the file that was written, on `Success`
    uint64_t SymbolSettingsHash = 0; ///< to check that file against
    EResult Result = EResult::DIAError;

    ConvertPDBResult() = default;
    ConvertPDBResult(PDBKey key, std::string symbolModulePath, uint64_t symbolSettingsHash, EResult result);

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<ConvertPDBResult>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<ConvertPDBResult>("Profiler::ConvertPDBResult", RTTI::Version{1},
            RTTI::Base<RTTI::Object>{}, RTTI::Field<&ConvertPDBResult::Key>{"Key"},
            RTTI::Field<&ConvertPDBResult::SymbolModulePath>{"SymbolModulePath"},
            RTTI::Field<&ConvertPDBResult::SymbolSettingsHash>{"SymbolSettingsHash"},
            RTTI::Field<&ConvertPDBResult::Result>{"Result"});
    }
};

consteval auto gDescribe(RTTI::EnumTag<ConvertPDBResult::EResult>)
{
    using enum ConvertPDBResult::EResult;
    return RTTI::gDescribeEnum<ConvertPDBResult::EResult>("Profiler::ConvertPDBResult::EResult",
        {{"Success", Success}, {"DIAError", DIAError}, {"FileError", FileError}, {"Canceled", Canceled}});
}

}
