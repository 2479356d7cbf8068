#include "ProfilerLib/session/EventFileWalk.h"

#include "ProfilerLib/session/SessionFixture.h"

#include <gmock/gmock.h>

namespace Profiler
{
namespace
{
using ::testing::HasSubstr;

using EStop = EventFileWalk::EStop;

class EventFileWalkTest : public ::testing::Test
{
protected:
    /// Small events up to where a window ends, and ones behind it that no window holds.
    EventFileWalkTest()
    {
        for (double time = 0.0; mBytes.GetSize() < 1024 * 1024 + 100; time += 0.5)
        {
            Add(MakeBegin(time, "small event", std::string(static_cast<std::size_t>(time) % 7, 'c')));
        }
        const std::string large(3 * 1024 * 1024, 'x');
        Add(MakeThreadName(1e6, 1, large));
        Add(MakeBegin(2e6, large, large));
        Add(MakeBegin(2e6, "", large));
        Add(MakeEvent(ETraceEventType::InstrumentationEnd, 3e6));
    }

    void Add(const TraceEvent& event)
    {
        mOffsets.push_back(mBytes.GetSize());
        gEncodeTraceEvent(event, mBytes);
    }

    /// What the walk makes of the bytes when they lie behind some others, which it must not look at.
    void Check(std::string_view bytes, std::size_t numEvents, EStop stop, const char* fault)
    {
        FileSystem::InputFile file;
        FileSystem::FileError error;
        ASSERT_TRUE(file.Open(mFolder.Write("events.dat", "before" + std::string{bytes} + "behind"), error));
        EventFileWalk walk{file};
        walk.Start(6, 6 + bytes.size(), 0.0);
        std::size_t count = 0;
        while (walk.Step())
        {
            ++count;
        }
        EXPECT_EQ(count, numEvents);
        EXPECT_EQ(walk.GetOffset(), 6 + (count < mOffsets.size() ? mOffsets[count] : bytes.size()));
        EXPECT_EQ(walk.GetStop(), stop);
        EXPECT_THAT(walk.GetFault(), HasSubstr(fault));
        EXPECT_FALSE(walk.Step());
    }

    std::string_view GetBytes() const { return {reinterpret_cast<const char*>(mBytes.GetBuffer()), mBytes.GetSize()}; }

    TemporaryFolder mFolder;
    Utility::OutputMemoryStream mBytes;
    std::vector<std::size_t> mOffsets;
};

TEST_F(EventFileWalkTest, RecordsAreSteppedOverWhateverTheirSize)
{
    Check(GetBytes(), mOffsets.size(), EStop::End, "");
    Check("", 0, EStop::End, "");
}

TEST_F(EventFileWalkTest, FaultEndsTheWalkInFrontOfItsRecord)
{
    const std::size_t numEvents = mOffsets.size();
    const std::size_t end = GetBytes().size();
    for (std::size_t i = numEvents - 7; i < numEvents; ++i)
    {
        const std::size_t next = i + 1 < numEvents ? mOffsets[i + 1] : end;
        for (const std::size_t length : {mOffsets[i] + 1, mOffsets[i] + 16, next - 1})
        {
            SCOPED_TRACE(::testing::Message() << "event " << i << ", cut at " << length);
            Check(GetBytes().substr(0, length), i, EStop::PastEnd, "runs past the end");
        }

        SCOPED_TRACE(::testing::Message() << "event " << i);
        std::string damaged{GetBytes()};
        damaged[mOffsets[i]] = 9;
        Check(damaged, i, EStop::BadRecord, "no event has the type");
        damaged = GetBytes();
        damaged[mOffsets[i] + 8] = '\x80';
        Check(damaged, i, EStop::BadRecord, "negative");
        damaged[mOffsets[i] + 8] = 0;
        Check(damaged, i, EStop::TimeGoesBack, "earlier than the one before");
        if (i != numEvents - 1)
        {
            const std::size_t count = mOffsets[i] + (damaged[mOffsets[i]] == 7 ? 25 : 17);
            damaged = GetBytes();
            damaged[count + 4] = 1;
            Check(damaged, i, EStop::PastEnd, "runs past the end");
            damaged[count + 7] = '\xFF';
            Check(damaged, i, EStop::PastEnd, "runs past the end");
        }
    }
}

TEST_F(EventFileWalkTest, FileThatShrinksIsToldFromADamagedOne)
{
    FileSystem::InputFile file;
    FileSystem::FileError error;
    ASSERT_TRUE(file.Open(mFolder.Write("events.dat", GetBytes().substr(0, 100)), error));
    EventFileWalk walk{file};
    walk.Start(0, GetBytes().size(), 0.0);
    EXPECT_FALSE(walk.Step());
    EXPECT_EQ(walk.GetStop(), EStop::Unreadable);
    EXPECT_EQ(walk.GetFault(), "byte 100 cannot be read: the file ends there");
}
}
}
