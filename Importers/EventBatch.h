#pragma once

#include "Importers/ChromeEvent.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Importers
{
/// A window of the text of a trace with the events that were read from it, in the order of the text. It goes from the
/// thread that reads to the one that collects and comes back to be used again, so an import touches only the memory of
/// a few. One thread at a time.
class EventBatch
{
public:
    static constexpr std::size_t sWindowSize = 128 * 1024;
    /// Quotes behind the text: a search for the end of a string needs no other bound, and nothing of an event can
    /// follow there.
    static constexpr std::size_t sPadding = 64;

    EventBatch();

    /// Where the next window goes. All events and texts are gone.
    std::span<char> Clear();
    /// The window has been filled so far.
    void SetTextSize(std::size_t size);
    std::span<const char> GetWindow() const { return {mBuffer.get(), mTextSize}; }

    /// The event is empty, and stays where it is until the next one is added.
    ChromeEvent& AddEvent()
    {
        if (mNumEvents == mBlocks.size() * sBlockEvents) [[unlikely]]
        {
            mBlocks.push_back(std::make_unique<ChromeEvent[]>(sBlockEvents));
        }
        ChromeEvent* const events = mBlocks[mNumEvents / sBlockEvents].get();
        const std::size_t index = mNumEvents % sBlockEvents;
        // The other thread has read it last, so it comes from afar.
        events[std::min(index + sEventsAhead, sBlockEvents - 1)].Prefetch();
        ++mNumEvents;
        events[index].Clear();
        return events[index];
    }
    void RemoveLastEvent() { --mNumEvents; }
    std::size_t GetNumEvents() const { return mNumEvents; }
    const ChromeEvent& GetEvent(std::size_t index) const { return mBlocks[index / sBlockEvents][index % sBlockEvents]; }

    /// A copy of a text that may go.
    std::string_view Keep(std::string_view text);

    /// Where texts may be written that are made of the window: never more of them than `GetRoom` has space for, when
    /// each character of the window makes at most two. `TakeRoom` keeps what was written before that end.
    char* GetRoom() { return mRoom; }
    void TakeRoom(char* end) { mRoom = end; }

    /// How much of the file had been used when the window was filled.
    std::uint64_t mFilePosition = 0;

private:
    static constexpr std::size_t sBlockEvents = 512;
    static constexpr std::size_t sEventsAhead = 4;

    std::unique_ptr<char[]> mBuffer;
    std::size_t mTextSize = 0;
    std::unique_ptr<char[]> mTexts;
    char* mRoom = nullptr;
    /// A hostile window has an event for every two characters, hundreds of times what an ordinary one takes: that comes
    /// in blocks and goes again.
    std::vector<std::unique_ptr<ChromeEvent[]>> mBlocks;
    std::size_t mNumEvents = 0;
    std::deque<std::string> mKept;
};
}
