#pragma once

#include "Importers/ChromeTraceParser.h"
#include "Importers/EventBatch.h"
#include "Utility/Mutex.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Importers
{
class TraceReader;

/// Reads a trace on a thread of its own, a few windows ahead of the one that takes the events. All operations are for
/// that one; the thread ends with the object at the latest.
class EventPipeline final : private BatchSource
{
public:
    /// The reader is the pipeline's until Next has returned null.
    explicit EventPipeline(TraceReader& reader);
    ~EventPipeline() override;
    EventPipeline(const EventPipeline&) = delete;
    EventPipeline& operator=(const EventPipeline&) = delete;

    /// The next events, until the next call; null when there are no more. An exception of the other thread comes here.
    const EventBatch* Next();

    // Once Next has returned null:
    bool IsTrace() const { return mIsTrace; }
    const ChromeTraceParser& GetParser() const { return mParser; }

private:
    /// One that is filled, one that is collected, and some between so that neither thread waits for the other's pace.
    static constexpr std::size_t sNumBatches = 5;

    // On the other thread.
    void Run();
    EventBatch& Receive() override;
    void Send(EventBatch& batch) override;

    TraceReader& mReader;
    ChromeTraceParser mParser;
    std::vector<std::unique_ptr<EventBatch>> mBatches;
    EventBatch* mCurrent = nullptr;

    Utility::Mutex mMutex;
    Utility::ConditionVariable mChanged;
    std::vector<EventBatch*> mFree GUARDED_BY(mMutex);
    std::deque<EventBatch*> mDone GUARDED_BY(mMutex);
    bool mIsFinished GUARDED_BY(mMutex) = false;
    bool mIsStopped GUARDED_BY(mMutex) = false;

    // Of the other thread until it has finished.
    bool mIsTrace = false;
    std::exception_ptr mException;

    /// The last member: it runs as soon as it is there.
    std::thread mThread;
};
}
