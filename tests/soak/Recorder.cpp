// Records events until it is done or killed, and says on its output what is safe on the disk: the number of events, as
// eight bytes, whenever a chunk was acknowledged. Tests run it and end it in mid-work.

#include "ProfilerLib/session/CaptureTypes.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Utility/FailingFileCalls.h"
#include "Utility/Result.h"
#include "tests/soak/Recording.h"

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <random>
#include <string_view>

namespace
{

using namespace FileSystem::Internal;

/// What the command line asks for.
struct Options
{
    std::string mSessionPath;
    uint64_t mSeed = 0;
    uint64_t mNumEvents = 0;
    /// Events of the largest chunk that is asked for; from 1000 on some are left to the stream's own size.
    uint64_t mLargestChunk = 1;
    /// Goes on with the capture that is there.
    bool mContinues = false;
    /// Never waits for the disk.
    bool mIsFast = false;
    /// The operation on the disk at which the process ends, counted from 0.
    int mExitAt = std::numeric_limits<int>::max();
    /// A write that it ends at has done half of its work.
    bool mTears = false;
};

/// A process that dies at an operation on the disk.
class ExitingFileCalls final : public FileCalls
{
public:
    explicit ExitingFileCalls(const Options& options) : mOptions{options} {}

    int Open(const char* path, EOpenMode mode) override
    {
        if (mode != EOpenMode::Read)
            Count();
        return FileCalls::Open(path, mode);
    }
    std::int64_t Write(int file, const void* source, std::size_t count, std::uint64_t offset) override
    {
        if (mCount == mOptions.mExitAt && mOptions.mTears)
            FileCalls::Write(file, source, count / 2, offset);
        Count();
        return FileCalls::Write(file, source, count, offset);
    }
    int Truncate(int file, std::uint64_t size) override
    {
        Count();
        return FileCalls::Truncate(file, size);
    }
    int Sync(int file) override
    {
        Count();
        return mOptions.mIsFast ? 0 : FileCalls::Sync(file);
    }
    int Close(int file) override
    {
        Count();
        return FileCalls::Close(file);
    }
    int Rename(const char* from, const char* to) override
    {
        Count();
        return FileCalls::Rename(from, to);
    }
    int SyncDirectory(const char* path) override
    {
        Count();
        return mOptions.mIsFast ? 0 : FileCalls::SyncDirectory(path);
    }

private:
    void Count()
    {
        if (mCount++ == mOptions.mExitAt)
            std::_Exit(3);
    }

    const Options& mOptions;
    int mCount = 0;
};

void Acknowledge(uint64_t numEvents)
{
    std::fwrite(&numEvents, sizeof(numEvents), 1, stdout);
    std::fflush(stdout);
}

bool Record(Profiler::Session& session, const Options& options, Utility::Result& result)
{
    const uint64_t chunkEvents = Profiler::TraceEventStream::cChunkEvents;
    uint64_t number = session.GetEventStream().GetNumEvents();
    std::mt19937_64 random{options.mSeed + number};
    for (int chunk = 0; number < options.mNumEvents; ++chunk)
    {
        const bool isLeftToTheStream = options.mLargestChunk >= 1000 && random() % 16 == 0;
        const uint64_t count = isLeftToTheStream ? chunkEvents : 1 + random() % options.mLargestChunk;
        for (const uint64_t end = number + count; number < end; ++number)
        {
            if (!session.AddEvent(Tests::gMakeRecordedEvent(options.mSeed, number), result))
                return false;
        }
        if (!isLeftToTheStream && !session.GetEventStream().Flush(result))
            return false;
        Acknowledge(number);
        if (chunk % 8 == 7 && !session.Save(result))
            return false;
    }
    return session.Save(result);
}

bool Run(const Options& options, Utility::Result& result)
{
    RTTI::TypeRegistry registry;
    Profiler::gRegisterCaptureTypes(registry);
    ExitingFileCalls calls{options};
    const ScopedFileCalls scope{calls};
    std::unique_ptr<Profiler::Session> session;
    if (options.mContinues)
    {
        return Profiler::Session::sLoad(options.mSessionPath, registry, nullptr, nullptr, nullptr, session, result) ==
                   Profiler::Session::Loaded &&
               Record(*session, options, result);
    }
    session = std::make_unique<Profiler::Session>(options.mSessionPath, nullptr, nullptr, nullptr);
    // From here on it can be opened.
    return session->Save(result) && Record(*session, options, result);
}

}

int main(int numArguments, char** arguments)
{
    if (numArguments < 5)
    {
        std::fputs("SoakRecorder SESSION SEED EVENTS LARGEST-CHUNK [continue] [fast] [torn] [exit K]\n", stderr);
        return 2;
    }
    Options options;
    options.mSessionPath = arguments[1];
    options.mSeed = std::strtoull(arguments[2], nullptr, 10);
    options.mNumEvents = std::strtoull(arguments[3], nullptr, 10);
    options.mLargestChunk = std::strtoull(arguments[4], nullptr, 10);
    for (int i = 5; i < numArguments; ++i)
    {
        const std::string_view word = arguments[i];
        options.mContinues = options.mContinues || word == "continue";
        options.mIsFast = options.mIsFast || word == "fast";
        options.mTears = options.mTears || word == "torn";
        if (word == "exit" && ++i < numArguments)
            options.mExitAt = std::atoi(arguments[i]);
    }
    Utility::Result result;
    if (Run(options, result))
        return 0;
    std::fprintf(stderr, "%s\n", result.ToString().c_str());
    return 1;
}
