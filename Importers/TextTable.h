#pragma once

#include "Importers/RecordArray.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace Importers
{
/// A text that is kept once, with the hash that is its id in a capture.
struct StoredText
{
    std::uint64_t mHash;
    std::uint32_t mLength;
    /// Of the owner of the table, 0 at first.
    std::uint32_t mMark;

    std::string_view GetText() const { return {reinterpret_cast<const char*>(this + 1), mLength}; }
    /// As much as most texts have.
    void Prefetch() const
    {
        constexpr std::size_t lineSize = 64;
        __builtin_prefetch(this);
        __builtin_prefetch(reinterpret_cast<const char*>(this) + lineSize);
        __builtin_prefetch(reinterpret_cast<const char*>(this) + 2 * lineSize);
    }
};

/// Texts one behind the other in large blocks: 16 bytes and the text each, never moved.
class TextArena
{
public:
    using Reference = std::uint32_t;
    static constexpr Reference sNone = 0xFFFFFFFF;
    static constexpr std::size_t sLongestText = 256 * 1024;

    /// sNone when the text is too long, or 32 GiB of texts are stored.
    Reference Add(std::string_view text, std::uint64_t hash);
    StoredText& Get(Reference reference)
    {
        return *reinterpret_cast<StoredText*>(
            mBlocks[reference / sUnitsPerBlock].get() + std::size_t{reference % sUnitsPerBlock} * sUnit);
    }

private:
    static constexpr std::size_t sUnit = 8;
    static constexpr std::size_t sUnitsPerBlock = 128 * 1024;
    static constexpr std::size_t sBlockSize = sUnit * sUnitsPerBlock;

    std::vector<std::unique_ptr<std::byte[]>> mBlocks;
    std::size_t mUsed = sBlockSize;
};

/// Finds the index of a text that has been seen before, or gives it the next one.
class NameTable
{
public:
    /// The text is at most TextArena::sLongestText long.
    std::uint32_t Intern(std::string_view text);

    std::uint32_t GetSize() const { return static_cast<std::uint32_t>(mTexts.GetSize()); }
    StoredText& Get(std::uint32_t index) { return mArena.Get(mTexts[index]); }

private:
    struct Slot
    {
        std::uint32_t mHash;
        /// Index of the text plus 1; 0 when the slot is free.
        std::uint32_t mIndex;
    };

    void Grow();

    TextArena mArena;
    RecordArray<TextArena::Reference> mTexts;
    /// Open addressing, a power of two, at most three quarters full.
    std::vector<Slot> mSlots;
};

/// Keeps texts of which most are different but some come again and again: a text is looked for only among the ones that
/// came most recently, so it may be stored more than once, and nothing is paid for the ones that do not come again.
class ContextTable
{
public:
    /// The hash of a text that will be added soon; fetches what it will be compared with.
    std::uint64_t Prepare(std::string_view text);
    /// With the hash that Prepare gave. TextArena::sNone for an empty text, and when the table is full.
    TextArena::Reference Add(std::string_view text, std::uint64_t hash);
    StoredText& Get(TextArena::Reference reference) { return mArena.Get(reference); }
    /// Also those that are stored more than once.
    std::size_t GetSize() const { return mSize; }

private:
    struct Recent
    {
        /// The part that does not say where it is: what is stored is looked at only when it is very likely the same.
        std::uint32_t mHash = 0;
        TextArena::Reference mText = TextArena::sNone;
    };
    static constexpr std::size_t sNumRecent = 16 * 1024;

    TextArena mArena;
    std::vector<Recent> mRecent = std::vector<Recent>(sNumRecent);
    std::size_t mSize = 0;
};
}
