#include "Quarkspindle/commands/SymbolsCommand.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdio>

#include <CLI/CLI.hpp>

#include "Quarkspindle/FunctionFinder.h"
#include "Quarkspindle/Output.h"
#include "Serialization/Error.h"
#include "Utility/Format.h"
#include "Utility/Text.h"
#include "Utility/Trace.h"

namespace Quarkspindle
{

namespace
{

void WriteLogLine(const char* line, void*)
{
    std::fputs(line, stderr);
}

void DropLogLine(const char*, void*) {}

/// As other tools write addresses: hexadecimal, with "0x" or without.
bool ParseAddress(const std::string& text, uint64_t& address)
{
    const char* begin = text.c_str() + (Utility::gStartsWith("0x", text, false) ? 2 : 0);
    const char* end = text.c_str() + text.size();
    const auto [stop, error] = std::from_chars(begin, end, address, 16);
    return error == std::errc{} && stop == end;
}

/// "path:line", or "-" where no line is known.
std::string FormatSource(const std::string& path, int32_t line)
{
    return line < 0 ? "-" : gMakePrintable(path) + ":" + std::to_string(line);
}

std::string FormatSource(const Profiler::SourceLineData& data, std::size_t index)
{
    return data.Lines[index] <= 0 ? "-" : FormatSource(data.Paths[data.PathIndices[index]], data.Lines[index]);
}

}

void SymbolsCommand::Declare(CLI::App& program)
{
    CLI::App& word = AddWord(program, "symbols",
        "Name the function and source line of addresses in a binary, list its functions, or show one's instructions");
    word.add_option("BINARY", mBinary, "Program or library: an ELF file or a PE image")->required();
    auto* addresses = word.add_option_function<std::vector<std::string>>(
        "ADDRESS",
        [this](const std::vector<std::string>& texts) {
            for (const std::string& text : texts)
            {
                if (!ParseAddress(text, mAddresses.emplace_back()))
                    throw CLI::ValidationError{
                        "\"" + text + "\" is no address: up to 16 hexadecimal digits, with 0x or without"};
            }
        },
        "Addresses as addr2line takes them, in hexadecimal, or from the image's base");
    auto* list = word.add_flag("--list", mIsList, "List all functions: address, size, name");
    word.add_option("--match", mMatch, "With --list: only names that contain this text, in any case")
        ->type_name("TEXT")
        ->needs(list);
    auto* disassemble = word.add_option("--disassemble", mFunction,
                                "Show the instructions of this function: its name, or an address in it with 0x")
                            ->type_name("FUNCTION");
    word.add_option("--from", mPlaces.mLocations,
            "Folder with debug files, or URL of a symbol server, to search first; may be given more than once")
        ->type_name("PLACE")
        ->allow_extra_args(false);
    word.add_option("--cache", mPlaces.mCacheDirectory, "Folder to keep converted symbols in")->type_name("DIR");
    word.add_flag("--verbose", mIsVerbose, "Show on standard error what is searched and which workers are started");
    addresses->excludes(list)->excludes(disassemble);
    list->excludes(disassemble);
    word.callback([this] {
        if (mAddresses.empty() && !mIsList && mFunction.empty())
            throw CLI::ValidationError{"One of ADDRESS, --list and --disassemble is required"};
    });
}

bool SymbolsCommand::Run(const CommandContext& context, Utility::Result& result)
{
    SetLog();
    SymbolLookup symbols{context.Interrupted};
    if (!symbols.Open(mBinary, mPlaces, result))
        return false;
    Output output;
    bool succeeded = true;
    if (mIsList)
        PrintFunctions(symbols, output);
    else if (!mFunction.empty())
        succeeded = PrintInstructions(symbols, output, result);
    else
        succeeded = PrintAddresses(symbols, output, result);
    return output.Finish(result) && succeeded;
}

void SymbolsCommand::SetLog() const
{
    Utility::gSetTraceSinks({{mIsVerbose ? &WriteLogLine : &DropLogLine, nullptr}});
}

bool SymbolsCommand::PrintAddresses(SymbolLookup& symbols, Output& output, Utility::Result& result) const
{
    struct Place
    {
        uint64_t mAddress;
        uint64_t mOffset;
        const Profiler::Symbol* mFunction;
    };
    std::vector<Place> places;
    std::vector<uint64_t> offsets;
    for (const uint64_t address : mAddresses)
    {
        const uint64_t offset = symbols.MakeOffset(address);
        places.push_back({address, offset, symbols.GetModule().FindByAddress(0, offset)});
        if (places.back().mFunction != nullptr)
            offsets.push_back(offset);
    }
    // Without lines there are still names to be shown.
    const auto lines = symbols.FindLines(offsets, result);
    std::size_t next = 0;
    for (const Place& place : places)
    {
        if (place.mFunction == nullptr)
            output.Print("0x%" PRIx64 "  ??\n", place.mAddress);
        else
            output.Print("0x%" PRIx64 "  %s+0x%" PRIx64 "  %s\n", place.mAddress,
                gMakePrintable(place.mFunction->Name).c_str(), place.mOffset - place.mFunction->Address,
                lines == nullptr ? "-" : FormatSource(*lines, next++).c_str());
    }
    return lines != nullptr;
}

void SymbolsCommand::PrintFunctions(const SymbolLookup& symbols, Output& output) const
{
    for (const Profiler::Symbol& function : symbols.GetModule().GetFunctions())
    {
        if (Utility::gContainsIgnoreCase(function.Name, mMatch))
            output.Print("%16" PRIx64 " %8" PRIu64 "  %s\n", symbols.MakeAddress(function.Address), function.Size,
                gMakePrintable(function.Name).c_str());
    }
}

const Profiler::Symbol* SymbolsCommand::FindFunction(const SymbolLookup& symbols, Utility::Result& result) const
{
    uint64_t address = 0;
    if (!Utility::gStartsWith("0x", mFunction, false) || !ParseAddress(mFunction, address))
        return gFindFunction(symbols.GetModule(), symbols.MakeAddress(0), mFunction, result);
    const auto* function = symbols.GetModule().FindByAddress(0, symbols.MakeOffset(address));
    if (function == nullptr)
        result.Fail(Serialization::Unspecified, "There is no function at %s; --list shows those that there are",
            mFunction.c_str());
    return function;
}

bool SymbolsCommand::PrintInstructions(SymbolLookup& symbols, Output& output, Utility::Result& result) const
{
    const Profiler::Symbol* function = FindFunction(symbols, result);
    if (function == nullptr)
        return false;
    const auto data = symbols.Resolve(*function, function->Address, result);
    if (data == nullptr)
        return false;
    if (data->DisassemblyResult != Profiler::EDisassemblyResult::Success)
        return result.Fail(Serialization::Unspecified, "\"%s\" cannot be shown: %s",
            gMakePrintable(function->Name).c_str(), gMakePrintable(data->ErrorMessage).c_str());
    const bool isOther = data->Result == Profiler::EResolveFunctionDataResult::SourceUnmatched;
    output.Print("%s\n%s%s\n\n", gMakePrintable(function->Name).c_str(),
        FormatSource(data->SourcePath, data->ResolvedFunctionLine).c_str(),
        isOther ? "  (the file has changed since it was compiled)" : "");
    for (const Profiler::AsmInstruction& instruction : data->Instructions)
        output.Print(
            "%16" PRIx64 "  %-8s %s\n", instruction.Address, instruction.Mnemonic.c_str(), instruction.OpStr.c_str());
    return true;
}

}
