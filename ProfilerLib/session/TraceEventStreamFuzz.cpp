#include "ProfilerLib/session/TraceEventStream.h"

#include "ProfilerLib/session/CaptureTypes.h"
#include "ProfilerLib/session/EventStreamVerifier.h"
#include "ProfilerLib/session/Session.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Testing/FuzzChecks.h"
#include "Serialization/Testing/FuzzContainer.h"
#include "tests/support/FuzzTarget.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

/// An input is a 16-bit length, that many bytes of an index (`FuzzContainer` says what they may be), and the data file.
namespace Profiler
{
namespace
{
/// A capture's folder that holds one stream after the other.
class Capture
{
public:
    Capture()
    {
        gRegisterCaptureTypes(mRegistry);
        TraceEventStream empty{mSession};
        Utility::Result result;
        Fuzz::gCheck(empty.Flush(result), "an empty stream cannot be written");
        mContainer = std::make_unique<Serialization::Testing::FuzzContainer>(mFolder.Read("events.index"));
    }

    void Write(Fuzz::Input input) const
    {
        std::size_t indexSize = 0;
        if (input.size() >= 2)
        {
            indexSize = std::to_integer<std::size_t>(input[0]) | std::to_integer<std::size_t>(input[1]) << 8;
            input = input.subspan(2);
        }
        indexSize = std::min(indexSize, input.size());
        mFolder.Write("events.index", mContainer->Make(input.first(indexSize)));
        mFolder.Write("events.dat", input.subspan(indexSize));
    }

    std::unique_ptr<TraceEventStream> Load()
    {
        Utility::Result result;
        auto stream = TraceEventStream::sLoad(mSession, mRegistry, result);
        Serialization::Testing::gCheckOutcome(stream != nullptr, result);
        return stream;
    }

private:
    Fuzz::ScratchFolder mFolder;
    Session mSession{mFolder / "capture.session", nullptr, nullptr, nullptr};
    RTTI::TypeRegistry mRegistry;
    std::unique_ptr<Serialization::Testing::FuzzContainer> mContainer;
};

/// One way through a stream.
struct Reading
{
    std::uint64_t mNumEvents = 0;
    double mLastTime = 0.0;
    bool mIsInOrder = true;
    std::string mFailure;

    void Add(double time)
    {
        mIsInOrder = mIsInOrder && time >= mLastTime;
        mLastTime = time;
        ++mNumEvents;
    }
    bool operator==(const Reading&) const = default;
};

Reading ReadEvents(const TraceEventStream& stream, double startTime)
{
    Reading reading;
    TraceEventStream::Iterator iterator = stream.GetIterator(startTime);
    while (!iterator.IsAtEnd())
    {
        const TraceEvent event = iterator.Next();
        Fuzz::gCheck(event.mType < ETraceEventType::None, "an event has a type that is not stored");
        reading.Add(event.mTime);
    }
    Fuzz::gCheck(iterator.Next().mTime == -1.0, "there is an event behind the last one");
    reading.mFailure = iterator.GetFailure();
    return reading;
}

Reading ReadRecords(const TraceEventStream& stream, double startTime)
{
    Reading reading;
    TraceEventStream::Iterator iterator = stream.GetIterator(startTime);
    iterator.ForEachRecord([&](const TraceEventRecord& record) {
        reading.Add(record.GetTime());
        return true;
    });
    reading.mFailure = iterator.GetFailure();
    return reading;
}

void CheckAppend(Capture& capture, const Reading& whole)
{
    const std::unique_ptr<TraceEventStream> stream = capture.Load();
    TraceEvent event;
    event.mType = ETraceEventType::InstrumentationEnd;
    event.mTime = whole.mLastTime;
    Utility::Result result;
    Fuzz::gCheck(stream->AddEvent(event, result) && stream->Flush(result), "an event cannot be added");
    const std::unique_ptr<TraceEventStream> longer = capture.Load();
    Fuzz::gCheck(longer != nullptr, "a stream cannot be loaded after it was added to");
    Fuzz::gCheck(ReadRecords(*longer, 0.0).mNumEvents == whole.mNumEvents + 1, "an event that was added is not there");
}
}
}

void Fuzz::gRunInput(Input input)
{
    using namespace Profiler;

    static Capture sCapture;
    sCapture.Write(input);
    const std::unique_ptr<TraceEventStream> stream = sCapture.Load();
    if (stream == nullptr)
        return;
    const Reading events = ReadEvents(*stream, 0.0);
    gCheck(events == ReadRecords(*stream, 0.0), "the two ways of reading differ");
    Utility::Result result;
    EventStreamVerifier verifier{*stream};
    if (!verifier.Verify(result))
    {
        gCheck(result.HasErrors(), "a stream is not sound, and nothing says why");
        return;
    }
    gCheck(events.mFailure.empty(), "a sound stream cannot be read to its end");
    gCheck(events.mIsInOrder, "the events of a sound stream are not in order");
    gCheck(events.mNumEvents == stream->GetNumEvents(), "a sound stream has another number of events than it says");
    const Aside aside;
    // The first ones tell as much as all.
    std::vector<TraceEventStream::Chunk> chunks = stream->GetChunks();
    chunks.resize(std::min<std::size_t>(chunks.size(), 10));
    for (const TraceEventStream::Chunk& chunk : chunks)
    {
        const Reading rest = ReadRecords(*stream, chunk.EndTime);
        gCheck(rest.mNumEvents > 0 && rest.mLastTime == events.mLastTime, "a part of a stream ends elsewhere");
    }
    CheckAppend(sCapture, events);
}
