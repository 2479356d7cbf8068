#include "Importers/IntervalCollector.h"

#include "Importers/EventBatch.h"
#include "Importers/MarkPairer.h"
#include "Importers/Utf8.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace Importers
{
namespace
{
constexpr std::string_view sUnnamed = "(unnamed)";
constexpr std::string_view sNoCategory = "(no category)";
constexpr std::string_view sSummaryPrefix = "Total ";

/// Both ends of the range are left to those who need values beyond all times.
bool IsUsable(std::int64_t time)
{
    return time > std::numeric_limits<std::int64_t>::min() && time < std::numeric_limits<std::int64_t>::max();
}
}

IntervalCollector::IntervalCollector(const std::optional<std::string>& process, ImportReport& report) : mReport(report)
{
    if (process)
    {
        mWantedProcess = TraceID::sFromText(*process);
    }
}

void IntervalCollector::Add(const EventBatch& batch)
{
    // A context may be compared with one that was stored long ago: what that takes is fetched some events ahead.
    constexpr std::size_t ahead = 8;

    std::array<std::uint64_t, ahead> hashes{};
    const std::size_t numEvents = batch.GetNumEvents();
    for (std::size_t i = 0; i < numEvents + ahead; ++i)
    {
        if (i >= ahead)
        {
            mContextHash = hashes[i % ahead];
            Add(batch.GetEvent(i - ahead));
        }
        if (i < numEvents)
        {
            hashes[i % ahead] = mContexts.Prepare(batch.GetEvent(i).mContext);
        }
    }
}

void IntervalCollector::Add(const ChromeEvent& event)
{
    ++mReport.mNumEvents;
    if (!event.mIsObject)
    {
        Reject(ERejection::NotAnObject);
    }
    else if (gIsIntervalPhase(event.mPhase))
    {
        AddIntervalEvent(event);
    }
    else if (event.mPhase == gMetadataPhase)
    {
        AddMetadata(event);
    }
    else
    {
        CountSkipped(event);
    }
}

void IntervalCollector::CountSkipped(const ChromeEvent& event)
{
    // A hostile file could have as many phases as events.
    constexpr std::size_t mostPhases = 256;
    constexpr std::size_t longestPhase = 32;

    const std::string_view phase = event.mPhase != 0 ? std::string_view(&event.mPhase, 1) : event.mLongPhase;
    if (phase.empty())
    {
        Reject(ERejection::NoPhase);
        return;
    }
    ++mReport.mNumSkipped;
    std::uint64_t*& counter = mSkippedByLetter[static_cast<unsigned char>(event.mPhase)];
    if (event.mPhase == 0 || counter == nullptr)
    {
        std::string valid;
        gAppendValidUtf8(valid, phase);
        valid = gCutUtf8(valid, longestPhase);
        const bool isKnown = mReport.mSkippedByPhase.contains(valid);
        counter = &mReport.mSkippedByPhase[isKnown || mReport.mSkippedByPhase.size() < mostPhases ? valid : "(others)"];
    }
    ++*counter;
}

void IntervalCollector::AddMetadata(const ChromeEvent& event)
{
    ++mReport.mNumMetadata;
    const std::string_view name = MakeValid(event.mMetadataName);
    if (name.empty())
    {
        return;
    }
    if (event.mName.mText == "process_name")
    {
        mThreads.GetProcesses()[mThreads.FindProcess(event.mProcess.ToID())].mName = name;
    }
    else if (event.mName.mText == "thread_name")
    {
        mThreads.GetThreads()[mThreads.FindThread(event.mProcess, event.mThread)].mName = name;
    }
}

void IntervalCollector::AddIntervalEvent(const ChromeEvent& event)
{
    const std::uint32_t index = mThreads.FindThread(event.mProcess, event.mThread);
    TraceThread& thread = mThreads.GetThreads()[index];
    TraceProcess& process = mThreads.GetProcessOf(thread);
    if (!process.mHasEvents)
    {
        process.mHasEvents = true;
        process.mIsImported = !mWantedProcess || process.mID == *mWantedProcess;
    }
    if (event.mPhase == 'b' || event.mPhase == 'e')
    {
        // The other end may come from another process.
        AddAsyncMark(event, thread.mProcess);
    }
    else if (!process.mIsImported)
    {
        ++mReport.mNumOtherProcesses;
    }
    else if (event.mPhase == 'X')
    {
        AddComplete(thread, event);
    }
    else
    {
        AddMark(thread, event);
    }
}

void IntervalCollector::AddComplete(TraceThread& thread, const ChromeEvent& event)
{
    if (event.mHasAverage && event.mName.mText.starts_with(sSummaryPrefix))
    {
        ++mReport.mNumSummaries;
        return;
    }
    Interval interval{};
    if (!ReadTime(event.mTime, interval.mStart))
    {
        return;
    }
    const EventTime& duration = event.mDuration;
    if (duration.mIsMissing)
    {
        ++mReport.mNumUnfinished;
        return;
    }
    if (duration.mState != EDecimal::Valid)
    {
        Reject(duration.mState == EDecimal::OutOfRange ? ERejection::TimeOutOfRange : ERejection::BadDuration);
        return;
    }
    if (duration.mTime < DecimalTime())
    {
        Reject(ERejection::NegativeDuration);
        return;
    }
    // The sum is rounded rather than its parts, so that what nests in the trace nests here.
    const std::optional<DecimalTime> sum = gAdd(event.mTime.mTime, duration.mTime);
    const std::optional<std::int64_t> end = sum ? sum->Round() : std::nullopt;
    if (!end || !IsUsable(*end))
    {
        Reject(ERejection::TimeOutOfRange);
        return;
    }
    interval.mEnd = *end;
    interval.mName = InternName(event.mName);
    interval.mContext = mContexts.Add(event.mContext, mContextHash);
    interval.mOrder = static_cast<std::uint32_t>(mReport.mNumEvents);
    thread.mIntervals.Add(interval);
    ++mReport.mNumComplete;
}

void IntervalCollector::AddMark(TraceThread& thread, const ChromeEvent& event)
{
    std::int64_t time = 0;
    if (ReadTime(event.mTime, time))
    {
        thread.mMarks.Add(MakeMark(event, time, event.mPhase == 'E'));
    }
}

void IntervalCollector::AddAsyncMark(const ChromeEvent& event, std::uint32_t process)
{
    std::int64_t time = 0;
    if (!ReadTime(event.mTime, time))
    {
        return;
    }
    if (event.mID.IsMissing() && event.mLocalID.IsMissing() && event.mGlobalID.IsMissing())
    {
        Reject(ERejection::NoAsyncID);
        return;
    }
    const std::string_view category = MakeValid(event.mCategory);
    AsyncMark mark{};
    mark.mThread = mThreads.FindAsyncThread(process, category.empty() ? sNoCategory : category);
    static_cast<Mark&>(mark) = MakeMark(event, time, event.mPhase == 'e');
    mark.mKey = InternKey(event);
    mAsyncMarks.Add(mark);
}

void IntervalCollector::Reject(ERejection reason)
{
    ++mReport.mNumRejected;
    ++mReport.mRejectedByReason[static_cast<std::size_t>(reason)];
}

bool IntervalCollector::ReadTime(const EventTime& field, std::int64_t& time)
{
    if (field.mIsMissing)
    {
        Reject(ERejection::NoTime);
        return false;
    }
    if (field.mState == EDecimal::NotANumber)
    {
        Reject(ERejection::BadTime);
        return false;
    }
    const std::optional<std::int64_t> rounded = field.mState == EDecimal::Valid ? field.mTime.Round() : std::nullopt;
    if (!rounded || !IsUsable(*rounded))
    {
        Reject(ERejection::TimeOutOfRange);
        return false;
    }
    time = *rounded;
    return true;
}

Mark IntervalCollector::MakeMark(const ChromeEvent& event, std::int64_t time, bool isEnd)
{
    const bool isNameless = isEnd && event.mName.mText.empty();
    return {time, isNameless ? Mark::sNoName : InternName(event.mName), mContexts.Add(event.mContext, mContextHash),
        static_cast<std::uint32_t>(mReport.mNumEvents), isEnd};
}

std::uint32_t IntervalCollector::InternName(const EventText& name)
{
    return mNames.Intern(name.mText.empty() ? sUnnamed : MakeValid(name));
}

/// Valid until the next call.
std::string_view IntervalCollector::MakeValid(const EventText& text)
{
    if (!text.mIsNonAscii || gCountValidUtf8(text.mText) == text.mText.size())
    {
        return text.mText;
    }
    mValidText.clear();
    gAppendValidUtf8(mValidText, text.mText);
    return mValidText;
}

/// Operations are the same when category and id are; a local id counts within its process.
std::uint32_t IntervalCollector::InternKey(const ChromeEvent& event)
{
    const auto append = [this](char kind, const TraceIDView& id) {
        mKeyText += kind;
        mKeyText += id.mKind == TraceID::EKind::Number ? std::to_string(id.mNumber) : std::string(id.mText);
        mKeyText += '\0';
    };

    mKeyText.assign(event.mCategory.mText);
    mKeyText += '\0';
    if (!event.mLocalID.IsMissing())
    {
        append('p', event.mProcess.IsMissing() ? TraceIDView{TraceID::EKind::Number, 0, {}} : event.mProcess);
        append('l', event.mLocalID);
    }
    else
    {
        append('g', event.mGlobalID.IsMissing() ? event.mID : event.mGlobalID);
    }
    return mKeys.Intern(mKeyText);
}

void IntervalCollector::Finish()
{
    PairMarks();
    PairAsyncMarks();
    for (const TraceThread& thread : mThreads.GetThreads())
    {
        mThreads.GetProcessOf(thread).mNumIntervals += thread.mIntervals.GetSize();
        mReport.mNumIntervals += thread.mIntervals.GetSize();
    }
}

void IntervalCollector::PairMarks()
{
    const auto isEarlier = [](const Mark& a, const Mark& b) {
        return std::tie(a.mTime, a.mOrder) < std::tie(b.mTime, b.mOrder);
    };
    const auto countUnfinished = [this](const Mark&) {
        ++mReport.mNumUnfinished;
    };
    const auto countUnmatched = [this](const Mark&) {
        ++mReport.mNumUnmatched;
    };

    MarkPairer<Mark> pairer(mNames.GetSize());
    for (TraceThread& thread : mThreads.GetThreads())
    {
        RecordArray<Mark> marks = std::move(thread.mMarks);
        if (!std::is_sorted(marks.begin(), marks.end(), isEarlier))
        {
            std::sort(marks.begin(), marks.end(), isEarlier);
        }
        const auto addPair = [this, &thread](const Mark& begin, const Mark& end) {
            thread.mIntervals.Add(sJoin(begin, end));
            mReport.mNumPaired += 2;
        };
        for (const Mark& mark : marks)
        {
            pairer.Add(mark, addPair, countUnfinished, countUnmatched);
        }
        pairer.Finish(countUnfinished);
    }
}

void IntervalCollector::PairAsyncMarks()
{
    const auto count = [this](std::uint32_t thread, std::uint64_t& counter, std::uint64_t number) {
        (IsImported(thread) ? counter : mReport.mNumOtherProcesses) += number;
    };
    const auto addPair = [this, &count](const AsyncMark& begin, const AsyncMark& end) {
        count(begin.mThread, mReport.mNumPaired, 2);
        if (IsImported(begin.mThread))
        {
            mThreads.GetThreads()[begin.mThread].mIntervals.Add(sJoin(begin, end));
        }
    };
    const auto countUnfinished = [this, &count](const AsyncMark& mark) {
        count(mark.mThread, mReport.mNumUnfinished, 1);
    };
    const auto countUnmatched = [this, &count](const AsyncMark& mark) {
        count(mark.mThread, mReport.mNumUnmatched, 1);
    };

    RecordArray<AsyncMark> marks = std::move(mAsyncMarks);
    std::sort(marks.begin(), marks.end(), [](const AsyncMark& a, const AsyncMark& b) {
        return std::tie(a.mKey, a.mTime, a.mOrder) < std::tie(b.mKey, b.mTime, b.mOrder);
    });
    MarkPairer<AsyncMark> pairer(mNames.GetSize());
    for (std::size_t i = 0; i < marks.GetSize(); ++i)
    {
        if (i > 0 && marks[i].mKey != marks[i - 1].mKey)
        {
            pairer.Finish(countUnfinished);
        }
        pairer.Add(marks[i], addPair, countUnfinished, countUnmatched);
    }
    pairer.Finish(countUnfinished);
}

/// The arguments are those of the begin, or those of the end when the begin has none.
Interval IntervalCollector::sJoin(const Mark& begin, const Mark& end)
{
    return {begin.mTime, end.mTime, begin.mName, begin.mContext != TextArena::sNone ? begin.mContext : end.mContext,
        begin.mOrder, Interval::sLast};
}

bool IntervalCollector::IsImported(std::uint32_t thread)
{
    return mThreads.GetProcessOf(mThreads.GetThreads()[thread]).mIsImported;
}
}
