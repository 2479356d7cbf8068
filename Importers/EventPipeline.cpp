#include "Importers/EventPipeline.h"

#include "Importers/TraceReader.h"
#include "System/ThreadName.h"

namespace Importers
{
EventPipeline::EventPipeline(TraceReader& reader) : mReader(reader), mParser(*this)
{
    for (std::size_t i = 0; i < sNumBatches; ++i)
    {
        mBatches.push_back(std::make_unique<EventBatch>());
        mFree.push_back(mBatches.back().get());
    }
    mThread = std::thread([this] { Run(); });
}

EventPipeline::~EventPipeline()
{
    {
        const Utility::MutexLock lock(mMutex);
        mIsStopped = true;
    }
    mChanged.NotifyAll();
    mThread.join();
}

const EventBatch* EventPipeline::Next()
{
    Utility::MutexLock lock(mMutex);
    if (mCurrent != nullptr)
    {
        mFree.push_back(mCurrent);
        mCurrent = nullptr;
        mChanged.NotifyAll();
    }
    while (mDone.empty() && !mIsFinished)
    {
        mChanged.Wait(mMutex);
    }
    if (!mDone.empty())
    {
        mCurrent = mDone.front();
        mDone.pop_front();
    }
    else if (mException != nullptr)
    {
        std::rethrow_exception(mException);
    }
    return mCurrent;
}

void EventPipeline::Run()
{
    System::gSetThreadName("Trace Reader");
    try
    {
        mIsTrace = mParser.Parse();
    }
    catch (...)
    {
        mException = std::current_exception();
    }
    {
        const Utility::MutexLock lock(mMutex);
        mIsFinished = true;
    }
    mChanged.NotifyAll();
}

EventBatch& EventPipeline::Receive()
{
    EventBatch* batch = nullptr;
    bool isStopped = false;
    {
        const Utility::MutexLock lock(mMutex);
        // When it is stopped nobody brings batches back, but then it ends with this window.
        while (mFree.empty() && !mIsStopped)
        {
            mChanged.Wait(mMutex);
        }
        isStopped = mIsStopped;
        if (mFree.empty())
        {
            mFree.push_back(mDone.front());
            mDone.pop_front();
        }
        batch = mFree.back();
        mFree.pop_back();
    }
    const std::span<char> target = batch->Clear();
    batch->SetTextSize(isStopped ? 0 : mReader.Read(target));
    batch->mFilePosition = mReader.GetFilePosition();
    return *batch;
}

void EventPipeline::Send(EventBatch& batch)
{
    {
        const Utility::MutexLock lock(mMutex);
        mDone.push_back(&batch);
    }
    mChanged.NotifyAll();
}
}
