#pragma once

#include "Importers/Interval.h"

#include <cstdint>
#include <optional>
#include <unordered_map>
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
    /// Calls one of the three: `onPair(begin, end)`, `onUnfinished(begin)`, also several times, and `onUnmatched(end)`.
    template <typename Pair, typename Unfinished, typename Unmatched>
    void Add(const MarkType& mark, const Pair& onPair, const Unfinished& onUnfinished, const Unmatched& onUnmatched)
    {
        if (!mark.mIsEnd)
        {
            mOpen.push_back(mark);
            if (mOpenByName) [[unlikely]]
            {
                ++(*mOpenByName)[mark.mName];
            }
            return;
        }
        const bool hasName = mark.mName != Mark::sNoName;
        if (mOpen.empty() || (hasName && mOpen.back().mName != mark.mName && !IsOpen(mark.mName)))
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
    using Counts = std::unordered_map<std::uint32_t, std::uint32_t>;

    /// Counts what is open by its name from the first time that it is asked, until nothing is open: ends nearly always
    /// have the name of the latest begin, and without the counts many that have no begin would each look through all
    /// that is open.
    bool IsOpen(std::uint32_t name)
    {
        if (!mOpenByName)
        {
            mOpenByName.emplace();
            for (const MarkType& mark : mOpen)
            {
                ++(*mOpenByName)[mark.mName];
            }
        }
        const auto found = mOpenByName->find(name);
        return found != mOpenByName->end() && found->second > 0;
    }

    MarkType Pop()
    {
        const MarkType mark = mOpen.back();
        mOpen.pop_back();
        if (mOpenByName) [[unlikely]]
        {
            --(*mOpenByName)[mark.mName];
            if (mOpen.empty())
            {
                mOpenByName.reset();
            }
        }
        return mark;
    }

    std::vector<MarkType> mOpen;
    std::optional<Counts> mOpenByName;
};
}
