#include "Importers/TextTable.h"

#include "Utility/Hash.h"

#include <cstring>
#include <limits>
#include <new>

namespace Importers
{
TextArena::Reference TextArena::Add(std::string_view text, std::uint64_t hash)
{
    static_assert(sizeof(StoredText) % sUnit == 0 && alignof(StoredText) <= sUnit);
    static_assert(sizeof(StoredText) + sLongestText < sBlockSize);

    const std::size_t size = (sizeof(StoredText) + text.size() + sUnit - 1) / sUnit * sUnit;
    if (text.size() > sLongestText)
    {
        return sNone;
    }
    if (size > sBlockSize - mUsed)
    {
        if (mBlocks.size() == std::size_t{std::numeric_limits<Reference>::max()} / sUnitsPerBlock)
        {
            return sNone;
        }
        mBlocks.push_back(std::make_unique_for_overwrite<std::byte[]>(sBlockSize));
        mUsed = 0;
    }
    std::byte* const target = mBlocks.back().get() + mUsed;
    new (target) StoredText{hash, static_cast<std::uint32_t>(text.size()), 0};
    if (!text.empty())
    {
        std::memcpy(target + sizeof(StoredText), text.data(), text.size());
    }
    const std::size_t unit = (mBlocks.size() - 1) * sUnitsPerBlock + mUsed / sUnit;
    mUsed += size;
    return static_cast<Reference>(unit);
}

std::uint32_t NameTable::Intern(std::string_view text)
{
    if (mSlots.size() * 3 <= mTexts.GetSize() * 4)
    {
        Grow();
    }
    const std::uint64_t hash = Utility::gXXH64(text);
    const auto shortHash = static_cast<std::uint32_t>(hash >> 32);
    const std::size_t mask = mSlots.size() - 1;
    std::size_t position = hash & mask;
    for (; mSlots[position].mIndex != 0; position = (position + 1) & mask)
    {
        if (mSlots[position].mHash == shortHash && Get(mSlots[position].mIndex - 1).GetText() == text)
        {
            return mSlots[position].mIndex - 1;
        }
    }
    const TextArena::Reference reference = mArena.Add(text, hash);
    if (reference == TextArena::sNone)
    {
        throw std::bad_alloc();
    }
    mTexts.Add(reference);
    mSlots[position] = {shortHash, GetSize()};
    return GetSize() - 1;
}

void NameTable::Grow()
{
    std::vector<Slot> slots(mSlots.empty() ? 64 : mSlots.size() * 2);
    const std::size_t mask = slots.size() - 1;
    for (const Slot& slot : mSlots)
    {
        if (slot.mIndex == 0)
        {
            continue;
        }
        std::size_t position = Get(slot.mIndex - 1).mHash & mask;
        while (slots[position].mIndex != 0)
        {
            position = (position + 1) & mask;
        }
        slots[position] = slot;
    }
    mSlots = std::move(slots);
}

std::uint64_t ContextTable::Prepare(std::string_view text)
{
    if (text.empty())
    {
        return 0;
    }
    const std::uint64_t hash = Utility::gXXH64(text);
    const Recent& recent = mRecent[hash % sNumRecent];
    if (recent.mText != TextArena::sNone && recent.mHash == static_cast<std::uint32_t>(hash >> 32))
    {
        mArena.Get(recent.mText).Prefetch();
    }
    return hash;
}

TextArena::Reference ContextTable::Add(std::string_view text, std::uint64_t hash)
{
    if (text.empty())
    {
        return TextArena::sNone;
    }
    Recent& recent = mRecent[hash % sNumRecent];
    const auto shortHash = static_cast<std::uint32_t>(hash >> 32);
    if (recent.mText != TextArena::sNone && recent.mHash == shortHash && mArena.Get(recent.mText).GetText() == text)
    {
        return recent.mText;
    }
    recent = {shortHash, mArena.Add(text, hash)};
    ++mSize;
    return recent.mText;
}
}
