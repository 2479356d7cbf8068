#pragma once

#include "ProfilerLib/session/SessionFixture.h"
#include "ProfilerLib/session/TraceEventStream.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace Profiler
{
using Numbers = std::vector<int>;

inline Numbers MakeRange(int first, int end)
{
    Numbers numbers(static_cast<std::size_t>(std::max(end - first, 0)));
    std::iota(numbers.begin(), numbers.end(), first);
    return numbers;
}

/// An event that knows its number: at that many milliseconds, with texts of different lengths.
inline TraceEvent MakeNumbered(int number)
{
    return MakeBegin(number, "event " + std::to_string(number), std::string(static_cast<std::size_t>(number % 5), 'x'));
}

template <class Text>
int GetNumber(const BasicTraceEvent<Text>& event)
{
    const int number = std::stoi(std::string{event.mName.substr(6)});
    const TraceEvent expected = MakeNumbered(number);
    EXPECT_EQ(event.mTime, expected.mTime);
    EXPECT_EQ(event.mContext, expected.mContext);
    return number;
}

/// A session's event stream, recorded in small chunks.
class EventStreamFixture : public SessionFixture
{
protected:
    EventStreamFixture() : mSession{GetSessionPath(), nullptr, nullptr, nullptr} {}

    std::unique_ptr<TraceEventStream> Create() { return std::make_unique<TraceEventStream>(mSession); }

    std::unique_ptr<TraceEventStream> Load()
    {
        mResult.Clear();
        return TraceEventStream::sLoad(mSession, mRegistry, mResult);
    }

    bool Add(TraceEventStream& stream, int first, int end)
    {
        bool isAdded = true;
        for (int number = first; number < end; ++number)
        {
            isAdded = stream.AddEvent(MakeNumbered(number), mResult) && isAdded;
        }
        return isAdded;
    }

    bool AddChunk(TraceEventStream& stream, int first, int end)
    {
        return Add(stream, first, end) && stream.Flush(mResult);
    }

    /// Three chunks: 0 to 2, 3 to 6, 7 and 8.
    std::unique_ptr<TraceEventStream> RecordSmall()
    {
        std::unique_ptr<TraceEventStream> stream = Create();
        EXPECT_TRUE(AddChunk(*stream, 0, 3) && AddChunk(*stream, 3, 7) && AddChunk(*stream, 7, 9))
            << mResult.ToString();
        return stream;
    }

    static std::uint64_t GetEnd(const TraceEventStream& stream)
    {
        const std::vector<TraceEventStream::Chunk> chunks = stream.GetChunks();
        return chunks.empty() ? 0 : chunks.back().FileOffset + chunks.back().Size;
    }

    static Numbers ReadAll(const TraceEventStream& stream, double startTime = 0.0)
    {
        Numbers numbers;
        TraceEventStream::Iterator iterator = stream.GetIterator(startTime);
        TraceEventView event;
        while (iterator.NextView(event))
        {
            numbers.push_back(GetNumber(event));
        }
        EXPECT_TRUE(iterator.IsAtEnd());
        return numbers;
    }

    void Replace(const char* name, const std::string& content) const { mFolder.Replace(name, content); }

    Session mSession;
};
}
