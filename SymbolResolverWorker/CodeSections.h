#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ProfilerLib/symbols/SymbolModule.h"

namespace Symbols
{

/// Where the sections of an image begin and end, by addresses of one kind. Filled once, then sorted, then asked.
class CodeSections
{
public:
    /// An end that no number holds leaves the section out.
    void Add(uint64_t begin, uint64_t size);
    void Sort();

    /// The end of the section with that address; none where no section is.
    std::optional<uint64_t> FindEnd(uint64_t address) const;

    /// Gives a size to each function that has none and is the last one of its section, which it would otherwise reach
    /// out of. Functions are sorted; `base` is what their addresses lack.
    void CloseLast(std::vector<Profiler::Symbol>& functions, uint64_t base) const;

private:
    struct Section
    {
        uint64_t mBegin;
        uint64_t mEnd;
    };
    std::vector<Section> mSections;
};

}
