#include "Importers/TextTable.h"

#include "Utility/Hash.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace Importers
{
TextArena::TextArena() : mBlocks(std::make_unique<Block[]>(sMostBlocks)) {}

TextArena::~TextArena()
{
    for (std::size_t i = 0; i < mNumBlocks; ++i)
    {
        delete[] mBlocks[i].mBytes.load();
    }
}

std::size_t TextArena::AddBlock()
{
    // Relaxed: a number of its own is all that each thread needs.
    const std::size_t index = mNumBlocks.fetch_add(1, std::memory_order_relaxed);
    if (index >= sMostBlocks)
    {
        mNumBlocks.store(sMostBlocks, std::memory_order_relaxed);
        return sMostBlocks;
    }
    mBlocks[index].mBytes.store(new std::byte[sBlockSize], std::memory_order_relaxed);
    return index;
}

TextWriter::Entry TextWriter::Add(std::string_view text, std::uint64_t hash)
{
    static_assert(sizeof(StoredText) % TextArena::sUnit == 0 && alignof(StoredText) <= TextArena::sUnit);
    static_assert(sizeof(StoredText) + TextArena::sLongestText < TextArena::sBlockSize);

    const std::size_t size = TextArena::sGetSize(text.size());
    if (text.size() > TextArena::sLongestText)
    {
        return {};
    }
    if (size > mRoomSize)
    {
        const std::size_t block = mArena.AddBlock();
        if (block == TextArena::sMostBlocks)
        {
            return {};
        }
        mBlock = &mArena.mBlocks[block];
        mRoom = mBlock->mBytes.load(std::memory_order_relaxed);
        mRoomSize = TextArena::sBlockSize;
        mRoomReference = static_cast<TextArena::Reference>(block * TextArena::sUnitsPerBlock);
    }
    auto* const stored = new (mRoom) StoredText{hash, static_cast<std::uint32_t>(text.size()), {}};
    if (!text.empty())
    {
        std::memcpy(mRoom + sizeof(StoredText), text.data(), text.size());
    }
    const Entry entry{stored, mRoomReference};
    mRoom += size;
    mRoomSize -= size;
    mBlock->mUsedSize = TextArena::sBlockSize - mRoomSize;
    mRoomReference += static_cast<TextArena::Reference>(size / TextArena::sUnit);
    return entry;
}

std::uint32_t NameTable::Intern(std::string_view text, TextWriter& writer)
{
    const std::uint64_t hash = Utility::gXXH64(text);
    Slot& slot = FindSlot(text, hash);
    if (slot.mIndex != 0)
    {
        return slot.mIndex - 1;
    }
    StoredText* const stored = writer.Add(text, hash).mText;
    if (stored == nullptr)
    {
        throw std::bad_alloc();
    }
    return Fill(slot, *stored);
}

std::uint32_t NameTable::Adopt(StoredText& text)
{
    Slot& slot = FindSlot(text.GetText(), text.mHash);
    return slot.mIndex != 0 ? slot.mIndex - 1 : Fill(slot, text);
}

NameTable::Slot& NameTable::FindSlot(std::string_view text, std::uint64_t hash)
{
    if (mSlots.size() * 3 <= mTexts.GetSize() * 4)
    {
        Grow();
    }
    const auto shortHash = static_cast<std::uint32_t>(hash >> 32);
    const std::size_t mask = mSlots.size() - 1;
    std::size_t position = hash & mask;
    while (mSlots[position].mIndex != 0 &&
           !(mSlots[position].mHash == shortHash && Get(mSlots[position].mIndex - 1).GetText() == text))
    {
        position = (position + 1) & mask;
    }
    return mSlots[position];
}

std::uint32_t NameTable::Fill(Slot& slot, StoredText& text)
{
    mTexts.Add(&text);
    slot = {static_cast<std::uint32_t>(text.mHash >> 32), GetSize()};
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

TextArena::Reference ContextTable::Add(std::string_view text, std::uint64_t hash, TextWriter& writer)
{
    Set& set = mRecent[hash % sNumSets];
    for (const Recent& recent : set)
    {
        if (recent.mHash == sShorten(hash) && recent.mText != nullptr && recent.mText->GetText() == text)
        {
            return recent.mReference;
        }
    }
    const TextWriter::Entry entry = writer.Add(text, hash);
    std::shift_right(set.begin(), set.end(), 1);
    set.front() = {entry.mText, sShorten(hash), entry.mReference};
    return entry.mReference;
}
}
