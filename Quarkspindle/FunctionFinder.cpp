#include "Quarkspindle/FunctionFinder.h"

#include <array>
#include <cinttypes>
#include <string>
#include <vector>

#include "ProfilerLib/symbols/SymbolModule.h"
#include "Quarkspindle/Output.h"
#include "Serialization/Error.h"
#include "Utility/Format.h"
#include "Utility/Result.h"

namespace Quarkspindle
{

namespace
{

using Profiler::Symbol;

/// How a name fits a function, the best first.
enum class EFit : uint8_t
{
    Whole,
    WithoutSignature,
    Clone,
    None,
};
constexpr std::size_t cNumFits = static_cast<std::size_t>(EFit::None);

/// Whether text is outside of all brackets at its end, as what a function returns is where its name begins.
bool IsBalanced(std::string_view text)
{
    int depth = 0;
    for (const char letter : text)
    {
        depth += letter == '<' || letter == '(' ? 1 : 0;
        depth -= letter == '>' || letter == ')' ? 1 : 0;
    }
    return depth == 0;
}

/// What may stand behind the name of a function: "(int)", "[abi:cxx11](int)", " [clone .cold]", ".cold".
EFit CompareRest(std::string_view rest)
{
    const bool isSignature = rest.starts_with('(') || rest.starts_with("[abi:");
    if (!isSignature && !rest.empty() && !rest.starts_with(" [clone ") && !rest.starts_with('.'))
        return EFit::None;
    const bool isClone = rest.starts_with('.') || rest.find(" [clone ") != std::string_view::npos;
    return isClone ? EFit::Clone : EFit::WithoutSignature;
}

EFit Compare(std::string_view function, std::string_view name)
{
    if (function == name)
        return EFit::Whole;
    for (std::size_t at = function.find(name); at != std::string_view::npos; at = function.find(name, at + 1))
    {
        // In front of a template's name there is what it returns.
        const bool isStart = at == 0 || (function[at - 1] == ' ' && IsBalanced(function.substr(0, at)));
        if (const EFit fit = CompareRest(function.substr(at + name.size())); isStart && fit != EFit::None)
            return fit;
    }
    return EFit::None;
}

std::string Describe(const Symbol& function, uint64_t base)
{
    return "\"" + gMakePrintable(function.Name) + "\" at " + Utility::gFormat("0x%" PRIx64, base + function.Address);
}

}

const Symbol* gFindFunction(
    const Profiler::SymbolModule& module, uint64_t base, std::string_view name, Utility::Result& result)
{
    std::array<std::vector<const Symbol*>, cNumFits> found;
    for (const Symbol& function : module.GetFunctions())
    {
        if (const EFit fit = Compare(function.Name, name); fit != EFit::None)
            found[static_cast<std::size_t>(fit)].push_back(&function);
    }
    const std::string shown = gMakePrintable(name);
    for (const auto& functions : found)
    {
        if (functions.size() == 1)
            return functions.front();
        if (functions.empty())
            continue;
        result.Fail(Serialization::Unspecified,
            "\"%s\" is the name of %zu functions, such as %s and %s; give more of the name, or an address",
            shown.c_str(), functions.size(), Describe(*functions[0], base).c_str(),
            Describe(*functions[1], base).c_str());
        return nullptr;
    }
    result.Fail(
        Serialization::Unspecified, "There is no function \"%s\"; --list shows those that there are", shown.c_str());
    return nullptr;
}

}
