#include "SymbolResolverWorker/JobExecutor.h"

#include <algorithm>
#include <unordered_map>

#include "ProfilerLib/symbols/SymbolModule.h"
#include "Serialization/Error.h"
#include "SymbolResolverWorker/CodeImage.h"
#include "SymbolResolverWorker/Disassembler.h"
#include "SymbolResolverWorker/JobControl.h"
#include "SymbolResolverWorker/ModuleSymbols.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Symbols
{

namespace
{

using Profiler::ConvertPDBResult;
using Profiler::EDisassemblyResult;
using Profiler::EResolveFunctionDataResult;
using Profiler::EResolveLineDataResult;
using EOutcome = ModuleSymbols::EOutcome;

/// Of what a function's address and size may claim, this much is shown.
constexpr uint64_t cMostCode = 1 << 20;
/// Where the size is not known, this much at most.
constexpr uint64_t cMostCodeOfUnknownSize = 16 << 10;

template <class Job>
SymbolSearch MakeSearch(const Job& job)
{
    return {job.LocalSymbolDirectories, gParseSymbolServerPath(job.SymbolServerPath)};
}

void LogReason(const Profiler::PDBKey& key, const Utility::Result& result)
{
    Utility::gTrace("No symbols for %s: %s", key.ModulePath.c_str(), result.ToString().c_str());
}

ConvertPDBResult::EResult WriteModule(
    const Profiler::ConvertPDBJob& job, Profiler::ESymbolSource source, std::vector<Profiler::Symbol>& functions)
{
    Profiler::SymbolModule module{job.Key, job.SymbolSettingsHash, source};
    for (Profiler::Symbol& function : functions)
        module.AddSymbol(function.Address, function.Size, std::move(function.Name));
    Utility::Result result;
    if (module.Save(job.CacheFilePath, result))
        return ConvertPDBResult::EResult::Success;
    Utility::gTrace("%s", result.ToString().c_str());
    return ConvertPDBResult::EResult::FileError;
}

ConvertPDBResult::EResult Convert(const Profiler::ConvertPDBJob& job, const JobControl& control)
{
    Utility::Result result;
    ModuleSymbols symbols;
    std::vector<Profiler::Symbol> functions;
    const EOutcome outcome = symbols.Open(job.Key, MakeSearch(job), control, result);
    if (outcome == EOutcome::NotFound)
    {
        LogReason(job.Key, result);
        return WriteModule(job, Profiler::ESymbolSource::NotFound, functions);
    }
    if (outcome == EOutcome::Found && symbols.GetReader().ReadFunctions(functions, control, result))
    {
        Utility::gTrace("%zu functions for %s", functions.size(), job.Key.ModulePath.c_str());
        return WriteModule(job, Profiler::ESymbolSource::Found, functions);
    }
    LogReason(job.Key, result);
    return control.IsCancelled() ? ConvertPDBResult::EResult::Canceled : ConvertPDBResult::EResult::DIAError;
}

/// A function of unknown size ends where the next one begins, or its section ends.
uint64_t FindCodeSize(uint64_t offset, ModuleSymbols& symbols, const JobControl& control)
{
    const uint64_t size = std::min(symbols.GetImage()->GetCodeSize(offset), cMostCodeOfUnknownSize);
    Utility::Result ignored;
    std::vector<Profiler::Symbol> functions;
    if (!symbols.GetReader().ReadFunctions(functions, control, ignored))
        return size;
    const auto next = std::ranges::upper_bound(functions, offset, {}, &Profiler::Symbol::Address);
    return next == functions.end() ? size : std::min(size, next->Address - offset);
}

EDisassemblyResult Disassemble(const Profiler::ResolveFunctionDataJob& job, ModuleSymbols& symbols,
    const JobControl& control, Profiler::FunctionData& data, Utility::Result& result)
{
    const CodeImage* image = symbols.GetImage();
    if (image == nullptr)
        return EDisassemblyResult::ImageNotFound;
    if (job.FunctionAddress < job.ModuleBaseAddress)
        return EDisassemblyResult::InvalidFunction;
    if (image->GetArchitecture() == EArchitecture::Unknown)
        return EDisassemblyResult::InvalidArchitecture;
    const uint64_t offset = job.FunctionAddress - job.ModuleBaseAddress;
    const uint64_t size =
        job.FunctionSize == 0 ? FindCodeSize(offset, symbols, control) : std::min(job.FunctionSize, cMostCode);
    std::vector<std::byte> code;
    if (!image->ReadCode(offset, std::max<uint64_t>(size, 1), code, result))
        return EDisassemblyResult::ImageCannotBeRead;
    return gDisassemble(image->GetArchitecture(), code, job.FunctionAddress, data.Instructions, control, result)
               ? EDisassemblyResult::Success
               : EDisassemblyResult::DisassemblerError;
}

void FindSource(const Profiler::ResolveFunctionDataJob& job, SymbolReader& reader, Profiler::FunctionData& data)
{
    data.Result = EResolveFunctionDataResult::SourceNotFound;
    const auto line = reader.FindLine(job.FunctionLineAddress - job.ModuleBaseAddress);
    if (!line)
        return;
    data.SourcePath = line->mPath;
    data.ResolvedFunctionLine = line->mLine;
    data.ResolvedCursorLine = reader
                                  .FindLineInFile(job.CursorLineAddress - job.ModuleBaseAddress,
                                      job.FunctionAddress - job.ModuleBaseAddress, line->mPath)
                                  .value_or(-1);
    const ESourceFile file =
        gCompareSource(line->mPath, reader.FindChecksum(job.FunctionLineAddress - job.ModuleBaseAddress));
    if (file != ESourceFile::Missing)
        data.Result = file == ESourceFile::Matched ? EResolveFunctionDataResult::SourceFound
                                                   : EResolveFunctionDataResult::SourceUnmatched;
}

/// The answer to a job for lines: with their paths for who asked for those.
class LineAnswer
{
public:
    explicit LineAnswer(const Profiler::ResolveLineDataJob& job)
    {
        const std::size_t count = job.AddressesToResolve.size();
        if (dynamic_cast<const Profiler::ResolveSourceLinesJob*>(&job) != nullptr)
        {
            auto data = std::make_unique<Profiler::SourceLineData>();
            data->PathIndices.assign(count, 0);
            mSourceLines = data.get();
            mData = std::move(data);
        }
        else
            mData = std::make_unique<Profiler::FunctionLineData>();
        mData->Lines.assign(count, -1);
    }

    Profiler::FunctionLineData& GetData() { return *mData; }

    void Set(std::size_t index, const SourceLine& line)
    {
        mData->Lines[index] = line.mLine;
        if (mSourceLines == nullptr)
            return;
        const auto [path, isNew] =
            mPathIndices.try_emplace(line.mPath, static_cast<uint32_t>(mSourceLines->Paths.size()));
        if (isNew)
            mSourceLines->Paths.push_back(line.mPath);
        mSourceLines->PathIndices[index] = path->second;
    }

    std::unique_ptr<Profiler::FunctionLineData> Take() { return std::move(mData); }

private:
    std::unique_ptr<Profiler::FunctionLineData> mData;
    Profiler::SourceLineData* mSourceLines = nullptr;
    std::unordered_map<std::string, uint32_t> mPathIndices;
};

}

std::unique_ptr<ConvertPDBResult> gConvert(const Profiler::ConvertPDBJob& job, const JobControl& control)
{
    const ConvertPDBResult::EResult outcome = Convert(job, control);
    const bool isWritten = outcome == ConvertPDBResult::EResult::Success;
    return std::make_unique<ConvertPDBResult>(
        job.Key, isWritten ? job.CacheFilePath : std::string{}, job.SymbolSettingsHash, outcome);
}

std::unique_ptr<Profiler::FunctionData> gResolveFunctionData(
    const Profiler::ResolveFunctionDataJob& job, const JobControl& control)
{
    auto data = std::make_unique<Profiler::FunctionData>();
    Utility::Result result;
    ModuleSymbols symbols;
    const EOutcome outcome = symbols.Open(job.Key, MakeSearch(job), control, result);
    if (outcome == EOutcome::Found)
    {
        FindSource(job, symbols.GetReader(), *data);
        data->DisassemblyResult = Disassemble(job, symbols, control, *data, result);
    }
    else
        data->Result = outcome == EOutcome::NotFound ? EResolveFunctionDataResult::PDBNotFound
                                                     : EResolveFunctionDataResult::PDBCouldNotBeLoaded;
    data->ErrorMessage = result.ToString();
    return data;
}

std::unique_ptr<Profiler::FunctionLineData> gResolveLineData(
    const Profiler::ResolveLineDataJob& job, const JobControl& control)
{
    LineAnswer answer{job};
    Profiler::FunctionLineData& data = answer.GetData();
    Utility::Result result;
    ModuleSymbols symbols;
    const EOutcome outcome = symbols.Open(job.Key, MakeSearch(job), control, result);
    if (outcome == EOutcome::Found)
    {
        for (std::size_t i = 0; i < data.Lines.size() && !control.ShouldStop(); ++i)
        {
            if (const auto line = symbols.GetReader().FindLine(job.AddressesToResolve[i] - job.ModuleBaseAddress))
                answer.Set(i, *line);
        }
        data.Result = control.MayGoOn(result) ? EResolveLineDataResult::Success : EResolveLineDataResult::CriticalError;
    }
    else
        data.Result = outcome == EOutcome::NotFound ? EResolveLineDataResult::PDBNotFound
                                                    : EResolveLineDataResult::PDBCouldNotBeLoaded;
    data.ErrorMessage = result.ToString();
    return answer.Take();
}

}
