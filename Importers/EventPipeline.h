#pragma once

#include "Importers/ChromeTraceParser.h"
#include "Importers/EventRecords.h"
#include "Importers/RecordMaker.h"
#include "Importers/TraceWindow.h"
#include "Importers/WindowParser.h"
#include "Utility/Mutex.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Importers
{
class IntervalCollector;
class TraceReader;

/// Reads a trace with several threads, the caller's among them. The text is cut in front of what looks like an entry,
/// and whoever has nothing to do makes records of the next window. The caller's thread takes them over in the order of
/// the text where the guess was right, and reads all that is left by itself, so that nothing depends on guesses and
/// threads. All operations are for that thread.
class EventPipeline final : private TraceSource
{
public:
    /// All must outlive the pipeline.
    EventPipeline(
        TraceReader& reader, const std::optional<std::string>& process, TextArena& texts, IntervalCollector& collector);
    ~EventPipeline() override;
    EventPipeline(const EventPipeline&) = delete;
    EventPipeline& operator=(const EventPipeline&) = delete;

    /// Gives all records to the collector. `goesOn` is asked with the position in the file for each window: a false
    /// ends the reading as if the text did. False when the text is no trace. Once. When it is left by an exception, the
    /// other threads run until the end of the object.
    [[nodiscard]] bool Read(const std::function<bool(std::uint64_t)>& goesOn);

    const ChromeTraceParser& GetParser() const { return mParser; }
    /// How far the text was read to come to where the parser has ended, whatever others had read by then.
    const ReadState& GetReadState() const;

private:
    /// Makes records of windows ahead of the parser.
    struct Maker
    {
        Maker(TextArena& texts, const std::optional<std::string>& process) : mRecords(texts, process) {}

        RecordMaker mRecords;
        WindowParser mParser;
    };
    struct Waiting
    {
        TraceWindow* mWindow = nullptr;
        bool mIsReady = false;
    };

    static std::size_t sCountThreads();

    TraceWindow& Receive() override;
    void Take(TraceWindow& window) override;
    void AddOwnRecords();
    void Release();
    /// The window whose turn it is; null when it is not ready.
    TraceWindow* TakeReady();
    bool MayReadAhead() REQUIRES(mMutex);
    void WaitForReady();
    void Stop();

    // On any of the threads.
    bool ReadAhead(std::size_t maker);
    void Fill(TraceWindow& window) REQUIRES(mReadMutex);
    void Help(std::size_t maker);

    IntervalCollector& mCollector;
    std::vector<std::unique_ptr<Maker>> mMakers;
    std::vector<std::unique_ptr<TraceWindow>> mWindows;

    // The caller's thread: what the parser has, and the records that it makes itself.
    TraceWindow* mCurrent = nullptr;
    RecordMaker mOwnMaker;
    EventRecords mOwnRecords;
    ChromeTraceParser mParser;
    const std::function<bool(std::uint64_t)>* mGoesOn = nullptr;

    /// Held while a window is filled, so that they follow each other as their texts do. Comes before mMutex.
    Utility::Mutex mReadMutex;
    TraceReader& mReader GUARDED_BY(mReadMutex);
    ReadState mReadState GUARDED_BY(mReadMutex);
    /// What goes with the next window: an entry and what follows.
    std::string mRest GUARDED_BY(mReadMutex);

    Utility::Mutex mMutex;
    Utility::ConditionVariable mChanged;
    std::vector<TraceWindow*> mFree GUARDED_BY(mMutex);
    /// In the order of the text.
    std::deque<Waiting> mWaiting GUARDED_BY(mMutex);
    bool mIsAtEnd GUARDED_BY(mMutex) = false;
    bool mIsStopped GUARDED_BY(mMutex) = false;
    std::exception_ptr mException GUARDED_BY(mMutex);

    /// Last: they run as soon as they are there.
    std::vector<std::thread> mThreads;
};
}
