#include "Quarkspindle/FunctionFinder.h"

#include <algorithm>
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
    WithoutScope,
    None,
};
constexpr std::size_t cNumFits = static_cast<std::size_t>(EFit::None);

/// By how much deeper in brackets text is at its end.
int CountDepth(std::string_view text)
{
    const auto count = [text](char one, char other) {
        return std::ranges::count_if(text, [=](char letter) { return letter == one || letter == other; });
    };
    return static_cast<int>(count('<', '(') - count('>', ')'));
}

/// What is behind the template arguments that text begins with, if it does.
std::string_view SkipArguments(std::string_view text)
{
    int depth = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        depth += CountDepth(text.substr(i, 1));
        if (depth == 0)
            return text[i] == '>' ? text.substr(i + 1) : text;
    }
    return {};
}

/// How the name fits where it is found, from what stands in front of and behind it.
EFit CompareAt(std::string_view front, std::string_view rest, bool isClone)
{
    const auto isSignature = [](std::string_view text) {
        return text.empty() || text.starts_with('(') || text.starts_with("[abi:");
    };
    // In front of a template's name there is what it returns.
    if (front.empty() || front.ends_with(' '))
    {
        if (isClone && (isSignature(rest) || rest.starts_with(" [clone ") || rest.starts_with('.')))
            return EFit::Clone;
        if (isSignature(rest))
            return EFit::WithoutSignature;
    }
    const bool isPart = front.empty() || front.ends_with(' ') || front.ends_with("::");
    return isPart && !isClone && isSignature(SkipArguments(rest)) ? EFit::WithoutScope : EFit::None;
}

EFit Compare(std::string_view function, std::string_view name)
{
    if (function == name)
        return EFit::Whole;
    // "Work(int) [clone .cold]"; in C it is "work.cold".
    const bool isClone = function.find(" [clone ") != std::string_view::npos ||
                         (function.starts_with(name) && function.substr(name.size()).starts_with('.'));
    EFit best = EFit::None;
    int depth = 0;
    std::size_t counted = 0;
    for (std::size_t at = function.find(name); at != std::string_view::npos; at = function.find(name, at + 1))
    {
        depth += CountDepth(function.substr(counted, at - counted));
        counted = at;
        // Inside of brackets there are types.
        if (depth == 0)
            best = std::min(best, CompareAt(function.substr(0, at), function.substr(at + name.size()), isClone));
    }
    return best;
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
