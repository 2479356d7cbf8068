#pragma once

#include "Importers/EventRecords.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Importers
{
/// How far a trace had been read at some moment.
struct ReadState
{
    /// Of the text, and of the file it comes from.
    std::uint64_t mTextSize = 0;
    std::uint64_t mFilePosition = 0;
    /// Damage of compressed data had been met, or an error of the disk.
    bool mIsDamaged = false;
    bool mHasFailed = false;
};

/// A piece of the text of a trace with what was made of its entries before their turn. It comes back to be used again,
/// so an import touches only the memory of a few. One thread at a time.
class TraceWindow
{
public:
    /// Text is read in blocks of this size.
    static constexpr std::size_t sBlockSize = 128 * 1024;
    /// A block, behind what did not go with the one before it.
    static constexpr std::size_t sLargestSize = 2 * sBlockSize;
    /// Quotes behind the text: a search for the end of a string needs no other bound, and nothing of an event can
    /// follow there.
    static constexpr std::size_t sPadding = 64;

    TraceWindow() : mBuffer(std::make_unique_for_overwrite<char[]>(sLargestSize + sPadding)) {}

    /// Where the text goes.
    std::span<char> GetBuffer() { return {mBuffer.get(), sLargestSize}; }
    /// The text is the beginning of the buffer.
    void SetTextSize(std::size_t size);
    std::span<const char> GetText() const { return {mBuffer.get(), mTextSize}; }

    /// An entry of the trace seems to begin with the text.
    bool mIsAtEntry = false;
    /// Where the last block begins in the text of the trace, and how far it was read with and without that.
    std::uint64_t mBlockStart = 0;
    ReadState mReadState;
    ReadState mStateBefore;

    // What was made of entries from the beginning on, on the guess that one begins there:
    /// The maker of the records.
    std::size_t mMaker = 0;
    EventRecords mRecords;
    /// The end of the last entry, or null when there is none.
    const char* mEndOfEntries = nullptr;

private:
    std::unique_ptr<char[]> mBuffer;
    std::size_t mTextSize = 0;
};
}
