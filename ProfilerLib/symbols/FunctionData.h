#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Serialization/RTTI/TypeOf.h"

namespace Profiler
{

enum class EResolveFunctionDataResult : uint8_t
{
    PDBNotFound = 0,
    PDBCouldNotBeLoaded = 1,
    SourceNotFound = 2,
    SourceUnmatched = 3, ///< there is such a file, but not the one that was compiled
    SourceFound = 4,
    CriticalError = 5,
};

consteval auto gDescribe(RTTI::EnumTag<EResolveFunctionDataResult>)
{
    using enum EResolveFunctionDataResult;
    return RTTI::gDescribeEnum<EResolveFunctionDataResult>("Profiler::EResolveFunctionDataResult",
        {{"PDBNotFound", PDBNotFound}, {"PDBCouldNotBeLoaded", PDBCouldNotBeLoaded}, {"SourceNotFound", SourceNotFound},
            {"SourceUnmatched", SourceUnmatched}, {"SourceFound", SourceFound}, {"CriticalError", CriticalError}});
}

enum class EResolveLineDataResult : uint8_t
{
    PDBNotFound = 0,
    PDBCouldNotBeLoaded = 1,
    Success = 2,
    CriticalError = 3,
};

consteval auto gDescribe(RTTI::EnumTag<EResolveLineDataResult>)
{
    using enum EResolveLineDataResult;
    return RTTI::gDescribeEnum<EResolveLineDataResult>(
        "Profiler::EResolveLineDataResult", {{"PDBNotFound", PDBNotFound}, {"PDBCouldNotBeLoaded", PDBCouldNotBeLoaded},
                                                {"Success", Success}, {"CriticalError", CriticalError}});
}

enum class EDisassemblyResult : uint8_t
{
    NotDisassembled = 0,
    InvalidFunction = 1,
    InvalidModule = 2,
    ImageNotFound = 3,
    ImageCannotBeParsed = 4,
    ImageCannotBeRead = 5,
    InvalidArchitecture = 6,
    DisassemblerError = 7,
    Success = 8,
};

consteval auto gDescribe(RTTI::EnumTag<EDisassemblyResult>)
{
    using enum EDisassemblyResult;
    return RTTI::gDescribeEnum<EDisassemblyResult>("Profiler::EDisassemblyResult",
        {{"NotDisassembled", NotDisassembled}, {"InvalidFunction", InvalidFunction}, {"InvalidModule", InvalidModule},
            {"ImageNotFound", ImageNotFound}, {"ImageCannotBeParsed", ImageCannotBeParsed},
            {"ImageCannotBeRead", ImageCannotBeRead}, {"InvalidArchitecture", InvalidArchitecture},
            {"DisassemblerError", DisassemblerError}, {"Success", Success}});
}

/// One instruction of a function.
struct AsmInstruction
{
    uint32_t ID = 0;      ///< which instruction it is, as the disassembler numbers them
    uint64_t Address = 0; ///< in the recorded process
    uint16_t Size = 0;    ///< bytes
    std::string Mnemonic;
    std::string OpStr;
    bool IsCallInstruction = false;

    bool operator==(const AsmInstruction&) const = default;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<AsmInstruction>("Profiler::AsmInstruction", RTTI::Version{1},
            RTTI::Field<&AsmInstruction::ID>{"ID"}, RTTI::Field<&AsmInstruction::Address>{"Address"},
            RTTI::Field<&AsmInstruction::Size>{"Size"}, RTTI::Field<&AsmInstruction::Mnemonic>{"Mnemonic"},
            RTTI::Field<&AsmInstruction::OpStr>{"OpStr"},
            RTTI::Field<&AsmInstruction::IsCallInstruction>{"IsCallInstruction"});
    }
};

/// From the worker: source and disassembly of one function.
struct FunctionData : RTTI::Object
{
    EResolveFunctionDataResult Result = EResolveFunctionDataResult::PDBNotFound;
    EDisassemblyResult DisassemblyResult = EDisassemblyResult::NotDisassembled;
    std::string ErrorMessage;
    std::string SourcePath;
    int32_t ResolvedFunctionLine = -1; ///< from 1; -1 for unknown
    int32_t ResolvedCursorLine = -1;   ///< from 1; -1 for unknown
    std::vector<AsmInstruction> Instructions;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<FunctionData>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<FunctionData>("Profiler::FunctionData", RTTI::Version{1}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&FunctionData::Result>{"Result"},
            RTTI::Field<&FunctionData::DisassemblyResult>{"DisassemblyResult"},
            RTTI::Field<&FunctionData::ErrorMessage>{"ErrorMessage"},
            RTTI::Field<&FunctionData::SourcePath>{"SourcePath"},
            RTTI::Field<&FunctionData::ResolvedFunctionLine>{"ResolvedFunctionLine"},
            RTTI::Field<&FunctionData::ResolvedCursorLine>{"ResolvedCursorLine"},
            RTTI::Field<&FunctionData::Instructions>{"Instructions"});
    }
};

/// From the worker: the source lines of a list of addresses.
struct FunctionLineData : RTTI::Object
{
    std::vector<int32_t> Lines; ///< one for each address, from 1; -1 for unknown
    EResolveLineDataResult Result = EResolveLineDataResult::PDBNotFound;
    std::string ErrorMessage;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<FunctionLineData>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<FunctionLineData>("Profiler::FunctionLineData", RTTI::Version{1},
            RTTI::Base<RTTI::Object>{}, RTTI::Field<&FunctionLineData::Lines>{"Lines"},
            RTTI::Field<&FunctionLineData::Result>{"Result"},
            RTTI::Field<&FunctionLineData::ErrorMessage>{"ErrorMessage"});
    }
};

/// From the worker: the same with the files that the lines are in.
struct SourceLineData : FunctionLineData
{
    std::vector<std::string> Paths;
    std::vector<uint32_t> PathIndices; ///< one for each address, into `Paths`; of no meaning where the line is unknown

    /// Whether each line that is known has a path.
    bool IsComplete() const;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<SourceLineData>(); }
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<SourceLineData>("Profiler::SourceLineData", RTTI::Version{1},
            RTTI::Base<FunctionLineData>{}, RTTI::Field<&SourceLineData::Paths>{"Paths"},
            RTTI::Field<&SourceLineData::PathIndices>{"PathIndices"});
    }
};

}
