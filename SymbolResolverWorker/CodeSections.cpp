#include "SymbolResolverWorker/CodeSections.h"

#include <algorithm>
#include <limits>

namespace Symbols
{

void CodeSections::Add(uint64_t begin, uint64_t size)
{
    if (size <= std::numeric_limits<uint64_t>::max() - begin)
        mSections.push_back({begin, begin + size});
}

void CodeSections::Sort()
{
    std::ranges::sort(mSections, {}, &Section::mBegin);
}

std::optional<uint64_t> CodeSections::FindEnd(uint64_t address) const
{
    const auto behind = std::ranges::upper_bound(mSections, address, {}, &Section::mBegin);
    if (behind == mSections.begin() || address >= std::prev(behind)->mEnd)
        return std::nullopt;
    return std::prev(behind)->mEnd;
}

void CodeSections::CloseLast(std::vector<Profiler::Symbol>& functions, uint64_t base) const
{
    for (std::size_t i = 0; i < functions.size(); ++i)
    {
        Profiler::Symbol& function = functions[i];
        const auto end = function.Size == 0 ? FindEnd(base + function.Address) : std::nullopt;
        if (end && (i + 1 == functions.size() || base + functions[i + 1].Address >= *end))
            function.Size = *end - base - function.Address;
    }
}

}
