#pragma once

#include <string>
#include <vector>

#include "Quarkspindle/SymbolLookup.h"
#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

class Output;

/// `symbols`: the functions of a binary, and what its addresses belong to.
class SymbolsCommand final : public Command
{
public:
    void Declare(CLI::App& program) override;
    [[nodiscard]] bool Run(const CommandContext& context, Utility::Result& result) override;

private:
    void SetLog() const;
    [[nodiscard]] bool PrintAddresses(SymbolLookup& symbols, Output& output, Utility::Result& result) const;
    void PrintFunctions(const SymbolLookup& symbols, Output& output) const;
    const Profiler::Symbol* FindFunction(const SymbolLookup& symbols, Utility::Result& result) const;
    [[nodiscard]] bool PrintInstructions(SymbolLookup& symbols, Output& output, Utility::Result& result) const;

    std::string mBinary;
    std::vector<uint64_t> mAddresses;
    std::string mMatch;
    std::string mFunction;
    SymbolPlaces mPlaces;
    bool mIsList = false;
    bool mIsVerbose = false;
};

}
