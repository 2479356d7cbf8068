#pragma once

#include "Importers/RecordArray.h"
#include "System/Prefetch.h"

#include <array>
#include <atomic>
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
    /// What it was sent to a sink as.
    enum class ESent : std::uint32_t
    {
        Never,
        Name,
        Context,
    } mSent;

    std::string_view GetText() const { return {reinterpret_cast<const char*>(this + 1), mLength}; }
    /// As much as most texts have.
    void Prefetch() const
    {
        constexpr std::size_t size = 192;
        System::gPrefetchBytes<false>(this, size);
    }
};

/// Texts one behind the other in large blocks: 16 bytes and the text each, never moved. Any number of threads add, each
/// with a TextWriter of its own; a text may be read by whoever has been given it.
class TextArena
{
public:
    using Reference = std::uint32_t;
    static constexpr Reference sNone = 0xFFFFFFFF;
    static constexpr std::size_t sLongestText = 256 * 1024;

    TextArena();
    ~TextArena();
    TextArena(const TextArena&) = delete;
    TextArena& operator=(const TextArena&) = delete;

    StoredText& Get(Reference reference)
    {
        // Relaxed: whoever knows the reference has got it from the writer, with all that was written before.
        return *reinterpret_cast<StoredText*>(
            mBlocks[reference / sUnitsPerBlock].mBytes.load(std::memory_order_relaxed) +
            std::size_t{reference % sUnitsPerBlock} * sUnit);
    }

private:
    friend class SentContexts;
    friend class TextWriter;

    struct Block
    {
        std::atomic<std::byte*> mBytes{nullptr};
        /// Of its one writer.
        std::size_t mUsedSize = 0;
    };

    static constexpr std::size_t sUnit = 8;
    static constexpr std::size_t sUnitsPerBlock = 128 * 1024;
    static constexpr std::size_t sBlockSize = sUnit * sUnitsPerBlock;
    /// What a Reference can tell apart.
    static constexpr std::size_t sMostBlocks = std::size_t{sNone} / sUnitsPerBlock;

    static constexpr std::size_t sGetSize(std::size_t textSize)
    {
        return (sizeof(StoredText) + textSize + sUnit - 1) & ~(sUnit - 1);
    }

    /// Of a new block, or sMostBlocks when there is no more.
    std::size_t AddBlock();

    std::unique_ptr<Block[]> mBlocks;
    std::atomic<std::size_t> mNumBlocks{0};
};

/// Adds texts to an arena. One thread.
class TextWriter
{
public:
    struct Entry
    {
        StoredText* mText = nullptr;
        TextArena::Reference mReference = TextArena::sNone;
    };

    /// The arena must outlive the writer.
    explicit TextWriter(TextArena& arena) : mArena(arena) {}

    /// No text when it is too long, or 32 GiB of texts are stored.
    Entry Add(std::string_view text, std::uint64_t hash);

private:
    TextArena& mArena;
    /// What is left of the block that is being filled.
    TextArena::Block* mBlock = nullptr;
    std::byte* mRoom = nullptr;
    std::size_t mRoomSize = 0;
    TextArena::Reference mRoomReference = 0;
};

/// Finds the index of a text that has been seen before, or gives it the next one.
class NameTable
{
public:
    /// The text is at most TextArena::sLongestText long.
    std::uint32_t Intern(std::string_view text, TextWriter& writer);
    /// Takes a text that is stored already.
    std::uint32_t Adopt(StoredText& text);

    std::uint32_t GetSize() const { return static_cast<std::uint32_t>(mTexts.GetSize()); }
    StoredText& Get(std::uint32_t index) { return *mTexts[index]; }

private:
    struct Slot
    {
        std::uint32_t mHash;
        /// Index of the text plus 1; 0 when the slot is free.
        std::uint32_t mIndex;
    };

    /// That of the text, or the free one where it belongs.
    Slot& FindSlot(std::string_view text, std::uint64_t hash);
    std::uint32_t Fill(Slot& slot, StoredText& text);
    void Grow();

    RecordArray<StoredText*> mTexts;
    /// Open addressing, a power of two, at most three quarters full.
    std::vector<Slot> mSlots;
};

/// Keeps texts of which most are different but some come again and again: a text is looked for only among the ones that
/// came most recently, so it may be stored more than once, and nothing is paid for the ones that do not come again.
class ContextTable
{
public:
    /// With the hash of the text, which is not empty. TextArena::sNone when the arena is full.
    TextArena::Reference Add(std::string_view text, std::uint64_t hash, TextWriter& writer);
    /// Fetch what Add will look at: first its place, and when that has come, what the text will be compared with.
    void PrefetchPlace(std::uint64_t hash) const { System::gPrefetchBytes<false>(&mRecent[hash % sNumSets], 1); }
    void PrefetchText(std::uint64_t hash) const
    {
        for (const Recent& recent : mRecent[hash % sNumSets])
        {
            if (recent.mHash == sShorten(hash) && recent.mText != nullptr)
            {
                recent.mText->Prefetch();
                break;
            }
        }
    }

private:
    struct Recent
    {
        /// Looked at only when the part of the hash that does not say where it is makes it very likely the same.
        const StoredText* mText = nullptr;
        std::uint32_t mHash = 0;
        TextArena::Reference mReference = TextArena::sNone;
    };
    /// What may stand in one place, a line of the cache, the latest first.
    using Set = std::array<Recent, 4>;
    static constexpr std::size_t sNumSets = 4 * 1024;

    static std::uint32_t sShorten(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32); }

    std::vector<Set> mRecent = std::vector<Set>(sNumSets);
};
}
