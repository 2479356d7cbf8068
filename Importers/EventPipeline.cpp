#include "Importers/EventPipeline.h"

#include "Importers/EventKey.h"
#include "Importers/IntervalCollector.h"
#include "Importers/TraceReader.h"
#include "System/ThreadName.h"

#include <algorithm>
#include <string_view>

namespace Importers
{
namespace
{
/// Whether an event seems to begin at a '{': behind another one and with a key that events have.
bool LooksLikeEntry(std::string_view text, std::size_t place)
{
    constexpr std::string_view space = " \n\r\t";
    constexpr std::size_t longestKey = 4;

    const std::size_t comma = text.substr(0, place).find_last_not_of(space);
    if (comma == std::string_view::npos || text[comma] != ',')
    {
        return false;
    }
    const std::size_t bracket = text.substr(0, comma).find_last_not_of(space);
    const std::size_t quote = text.find_first_not_of(space, place + 1);
    if (bracket == std::string_view::npos || text[bracket] != '}' || quote == std::string_view::npos ||
        text[quote] != '"')
    {
        return false;
    }
    const std::string_view key = text.substr(quote + 1, longestKey + 1);
    return gFindEventKey(key.substr(0, key.find('"'))) != EEventKey::Other;
}

/// Where the last entry seems to begin in the last block; the end of the text when there is none.
std::size_t FindLastEntry(std::string_view text)
{
    const std::size_t first = text.size() > TraceWindow::sBlockSize ? text.size() - TraceWindow::sBlockSize : 1;
    std::size_t place = text.rfind('{');
    while (place != std::string_view::npos && place >= first)
    {
        if (LooksLikeEntry(text, place))
        {
            return place;
        }
        place = text.rfind('{', place - 1);
    }
    return text.size();
}
}

EventPipeline::EventPipeline(
    TraceReader& reader, const std::optional<std::string>& process, TextArena& texts, IntervalCollector& collector)
    : mCollector(collector),
      mOwnMaker(texts, process),
      mParser(*this, mOwnMaker),
      mReader(reader)
{
    const std::size_t numThreads = sCountThreads();
    for (std::size_t i = 0; i < numThreads; ++i)
    {
        mMakers.push_back(std::make_unique<Maker>(texts, process));
    }
    // For each thread one to read and one that is read, and the one of the parser.
    for (std::size_t i = 0; i < 2 * numThreads + 1; ++i)
    {
        mWindows.push_back(std::make_unique<TraceWindow>());
        mFree.push_back(mWindows.back().get());
    }
    mOwnMaker.Begin(mOwnRecords);
    for (std::size_t i = 1; i < numThreads; ++i)
    {
        mThreads.emplace_back([this, i] { Help(i); });
    }
}

EventPipeline::~EventPipeline()
{
    Stop();
}

/// More than a few would only wait for the text.
std::size_t EventPipeline::sCountThreads()
{
    constexpr unsigned most = 4;
    return std::clamp(std::thread::hardware_concurrency(), 2U, most);
}

bool EventPipeline::Read(const std::function<bool(std::uint64_t)>& goesOn)
{
    mGoesOn = &goesOn;
    const bool isTrace = mParser.Parse();
    Stop();
    AddOwnRecords();
    return isTrace;
}

const ReadState& EventPipeline::GetReadState() const
{
    return mParser.GetOffset() < mCurrent->mBlockStart ? mCurrent->mStateBefore : mCurrent->mReadState;
}

TraceWindow& EventPipeline::Receive()
{
    AddOwnRecords();
    Release();
    while (mCurrent == nullptr)
    {
        mCurrent = TakeReady();
        if (mCurrent == nullptr && !ReadAhead(0))
        {
            WaitForReady();
        }
    }
    mCollector.Learn(mCurrent->mMaker, mCurrent->mRecords);
    if (!(*mGoesOn)(mCurrent->mReadState.mFilePosition))
    {
        mCurrent->SetTextSize(0);
        mCurrent->mEndOfEntries = nullptr;
        Stop();
    }
    return *mCurrent;
}

void EventPipeline::Take(TraceWindow& window)
{
    AddOwnRecords();
    mCollector.Add(window.mMaker, window.mRecords);
}

void EventPipeline::AddOwnRecords()
{
    const std::size_t maker = mMakers.size();
    mOwnMaker.Finish();
    mCollector.Learn(maker, mOwnRecords);
    mCollector.Add(maker, mOwnRecords);
    mOwnRecords.Clear();
    mOwnMaker.Begin(mOwnRecords);
}

/// The last window, which is empty, stays the current one.
void EventPipeline::Release()
{
    if (mCurrent == nullptr || mCurrent->GetText().empty())
    {
        return;
    }
    {
        const Utility::MutexLock lock(mMutex);
        mFree.push_back(mCurrent);
    }
    mCurrent = nullptr;
    mChanged.NotifyAll();
}

TraceWindow* EventPipeline::TakeReady()
{
    const Utility::MutexLock lock(mMutex);
    if (mWaiting.empty() || !mWaiting.front().mIsReady)
    {
        return nullptr;
    }
    TraceWindow* const window = mWaiting.front().mWindow;
    mWaiting.pop_front();
    return window;
}

bool EventPipeline::MayReadAhead()
{
    return !mFree.empty() && !mIsAtEnd && !mIsStopped;
}

/// Or until there is something to do meanwhile.
void EventPipeline::WaitForReady()
{
    const Utility::MutexLock lock(mMutex);
    while (mException == nullptr && !(!mWaiting.empty() && mWaiting.front().mIsReady) && !MayReadAhead())
    {
        mChanged.Wait(mMutex);
    }
    if (mException != nullptr)
    {
        std::rethrow_exception(mException);
    }
}

void EventPipeline::Stop()
{
    {
        const Utility::MutexLock lock(mMutex);
        mIsStopped = true;
    }
    mChanged.NotifyAll();
    for (std::thread& thread : mThreads)
    {
        thread.join();
    }
    mThreads.clear();
}

void EventPipeline::Help(std::size_t maker)
{
    System::gSetThreadName("Trace Reader");
    try
    {
        while (true)
        {
            {
                const Utility::MutexLock lock(mMutex);
                while (!MayReadAhead())
                {
                    if (mIsAtEnd || mIsStopped)
                    {
                        return;
                    }
                    mChanged.Wait(mMutex);
                }
            }
            ReadAhead(maker);
        }
    }
    catch (...)
    {
        const Utility::MutexLock lock(mMutex);
        mException = std::current_exception();
    }
    mChanged.NotifyAll();
}

/// Makes the records of one window, if there is one to be filled.
bool EventPipeline::ReadAhead(std::size_t maker)
{
    TraceWindow* window = nullptr;
    {
        const Utility::MutexLock reading(mReadMutex);
        {
            const Utility::MutexLock lock(mMutex);
            if (!MayReadAhead())
            {
                return false;
            }
            window = mFree.back();
            mFree.pop_back();
            mWaiting.push_back({window, false});
        }
        Fill(*window);
        const Utility::MutexLock lock(mMutex);
        mIsAtEnd = window->GetText().empty();
    }
    window->mMaker = maker;
    window->mRecords.Clear();
    window->mEndOfEntries = nullptr;
    if (window->mIsAtEntry)
    {
        RecordMaker& records = mMakers[maker]->mRecords;
        records.Begin(window->mRecords);
        window->mEndOfEntries = mMakers[maker]->mParser.Read(window->GetText(), records);
        records.Finish();
    }
    {
        const Utility::MutexLock lock(mMutex);
        std::find_if(mWaiting.begin(), mWaiting.end(), [window](const Waiting& waiting) {
            return waiting.mWindow == window;
        })->mIsReady = true;
    }
    mChanged.NotifyAll();
    return true;
}

void EventPipeline::Fill(TraceWindow& window)
{
    const std::span<char> buffer = window.GetBuffer();
    window.mIsAtEntry = !mRest.empty();
    window.mBlockStart = mReadState.mTextSize;
    window.mStateBefore = mReadState;

    std::copy(mRest.begin(), mRest.end(), buffer.begin());
    const std::size_t count = mReader.Read(buffer.subspan(mRest.size(), TraceWindow::sBlockSize));
    mReadState = {
        mReadState.mTextSize + count, mReader.GetFilePosition(), !mReader.GetDamage().empty(), mReader.HasFailed()};
    window.mReadState = mReadState;

    const std::string_view text(buffer.data(), mRest.size() + count);
    const std::size_t size = count == TraceWindow::sBlockSize ? FindLastEntry(text) : text.size();
    mRest.assign(text.substr(size));
    window.SetTextSize(size);
}
}
