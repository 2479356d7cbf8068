#include "Importers/SentContexts.h"

#include "ProfilerLib/session/KnownIDs.h"

#include <atomic>
#include <cstddef>

namespace Importers
{
SentContexts::SentContexts(TextArena& arena) : mArena(arena)
{
    // A text may be stored more than once.
    Profiler::KnownIDs known;
    Place place;
    while (StoredText* const text = Step(place))
    {
        if (text->mSent != StoredText::ESent::Context)
        {
            continue;
        }
        if (known.Add(text->mHash))
        {
            ++mNumLeft;
        }
        else
        {
            text->mSent = StoredText::ESent::Never;
        }
    }
}

const StoredText& SentContexts::Take()
{
    const StoredText* text = nullptr;
    do
    {
        const std::size_t block = mNext.mBlock;
        text = Step(mNext);
        for (std::size_t i = block; i < mNext.mBlock; ++i)
        {
            delete[] mArena.mBlocks[i].mBytes.exchange(nullptr, std::memory_order_relaxed);
        }
    } while (text->mSent != StoredText::ESent::Context);
    --mNumLeft;
    return *text;
}

StoredText* SentContexts::Step(Place& place) const
{
    const std::size_t numBlocks = mArena.mNumBlocks.load(std::memory_order_relaxed);
    while (place.mBlock < numBlocks && place.mOffset == mArena.mBlocks[place.mBlock].mUsedSize)
    {
        ++place.mBlock;
        place.mOffset = 0;
    }
    if (place.mBlock == numBlocks)
    {
        return nullptr;
    }
    std::byte* const bytes = mArena.mBlocks[place.mBlock].mBytes.load(std::memory_order_relaxed) + place.mOffset;
    auto* const text = reinterpret_cast<StoredText*>(bytes);
    place.mOffset += TextArena::sGetSize(text->mLength);
    return text;
}
}
