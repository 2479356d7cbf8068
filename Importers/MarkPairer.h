#pragma once

#include "Importers/Interval.h"

#include <cstdint>
#include <vector>

namespace Importers
{
/// Finds the begin of each end, among marks in the order of time. An end with a name closes the nearest open begin of
/// that name, and what was opened behind that stays unfinished; an end without a name closes the begin that was opened
/// last.
template <typename MarkType>
class MarkPairer
{
public:
    /// The number of names that marks may have.
    explicit MarkPairer(std::uint32_t numNames) : mOpenByName(numNames) {}

    /// Calls one of the three: `onPair(begin, end)`, `onUnfinished(begin)`, also several times, and `onUnmatched(end)`.
    template <typename Pair, typename Unfinished, typename Unmatched>
    void Add(const MarkType& mark, const Pair& onPair, const Unfinished& onUnfinished, const Unmatched& onUnmatched)
    {
        if (!mark.mIsEnd)
        {
            mOpen.push_back(mark);
            ++mOpenByName[mark.mName];
            return;
        }
        const bool hasName = mark.mName != Mark::sNoName;
        // The count spares a search through all that is open for a name that is not.
        if (mOpen.empty() || (hasName && mOpenByName[mark.mName] == 0))
        {
            onUnmatched(mark);
            return;
        }
        while (hasName && mOpen.back().mName != mark.mName)
        {
            onUnfinished(Pop());
        }
        onPair(Pop(), mark);
    }

    /// What is still open has no end.
    template <typename Unfinished>
    void Finish(const Unfinished& onUnfinished)
    {
        while (!mOpen.empty())
        {
            onUnfinished(Pop());
        }
    }

private:
    MarkType Pop()
    {
        const MarkType mark = mOpen.back();
        mOpen.pop_back();
        --mOpenByName[mark.mName];
        return mark;
    }

    std::vector<MarkType> mOpen;
    std::vector<std::uint32_t> mOpenByName;
};
}
