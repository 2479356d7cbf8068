#include "Importers/RecordMaker.h"

#include "Importers/Utf8.h"
#include "Utility/Hash.h"

#include <limits>

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

/// Events without a process are those of number 0.
TraceID GetProcessID(const TraceIDView& process)
{
    return process.IsMissing() ? TraceID::sFromNumber(0) : process.ToID();
}
}

RecordMaker::RecordMaker(TextArena& arena, const std::optional<std::string>& process) : mWriter(arena)
{
    if (process)
    {
        mWantedProcess = TraceID::sFromText(*process);
    }
}

void RecordMaker::Begin(EventRecords& records)
{
    mRecords = &records;
    ++mNumTargets;
    mSkippedByLetter.fill(0);
}

void RecordMaker::Finish()
{
    while (mNumStored != mNumQueued)
    {
        StoreContext(mPending[mNumStored++ % sNumPending]);
    }
}

void RecordMaker::OnEntry(const ChromeEvent& event)
{
    ++mRecords->mCounts.mNumEvents;
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

void RecordMaker::CountSkipped(const ChromeEvent& event)
{
    const std::string_view phase = event.mPhase != 0 ? std::string_view(&event.mPhase, 1) : event.mLongPhase;
    if (phase.empty())
    {
        Reject(ERejection::NoPhase);
        return;
    }
    ++mRecords->mCounts.mNumSkipped;
    std::uint32_t& place = mSkippedByLetter[static_cast<unsigned char>(event.mPhase)];
    if (event.mPhase == 0 || place == 0)
    {
        mRecords->mSkippedPhases.emplace_back(phase, 0);
        place = static_cast<std::uint32_t>(mRecords->mSkippedPhases.size());
    }
    ++mRecords->mSkippedPhases[place - 1].second;
}

void RecordMaker::AddMetadata(const ChromeEvent& event)
{
    ++mRecords->mCounts.mNumMetadata;
    const std::string_view name = MakeValid(event.mMetadataName);
    const bool isThread = event.mName.mText == "thread_name";
    if (name.empty() || !(isThread || event.mName.mText == "process_name"))
    {
        return;
    }
    AddRecord(EventRecord::EKind::Metadata, event).mName = static_cast<std::uint32_t>(mRecords->mMetadata.size());
    mRecords->mMetadata.push_back(
        {event.mProcess.ToID(), isThread ? event.mThread.ToID() : TraceID(), isThread, std::string(name)});
}

void RecordMaker::AddIntervalEvent(const ChromeEvent& event)
{
    const std::uint32_t number = FindThread(event.mProcess, event.mThread);
    NumberedThread& thread = mThreads[number];
    if (thread.mTarget != mNumTargets)
    {
        thread.mTarget = mNumTargets;
        mRecords->mUsedThreads.push_back(number);
    }
    if (event.mPhase == 'b' || event.mPhase == 'e')
    {
        // The other end may come from another process.
        AddAsyncMark(event);
    }
    else if (!thread.mIsImported)
    {
        ++mRecords->mCounts.mNumOtherProcesses;
    }
    else if (event.mPhase == 'X')
    {
        AddComplete(number, event);
    }
    else
    {
        AddMark(number, event);
    }
}

void RecordMaker::AddComplete(std::uint32_t thread, const ChromeEvent& event)
{
    if (event.mHasAverage && event.mName.mText.starts_with(sSummaryPrefix))
    {
        ++mRecords->mCounts.mNumSummaries;
        return;
    }
    std::int64_t start = 0;
    if (!ReadTime(event.mTime, start))
    {
        return;
    }
    const EventTime& duration = event.mDuration;
    if (duration.mIsMissing)
    {
        ++mRecords->mCounts.mNumUnfinished;
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
    EventRecord& record = AddRecord(EventRecord::EKind::Complete, event);
    record.mStart = start;
    record.mEnd = *end;
    record.mName = InternName(event.mName);
    record.mThread = thread;
    ++mRecords->mCounts.mNumComplete;
}

void RecordMaker::AddMark(std::uint32_t thread, const ChromeEvent& event)
{
    std::int64_t time = 0;
    if (!ReadTime(event.mTime, time))
    {
        return;
    }
    const bool isEnd = event.mPhase == 'E';
    EventRecord& record = AddRecord(isEnd ? EventRecord::EKind::End : EventRecord::EKind::Begin, event);
    record.mStart = time;
    record.mName = isEnd && event.mName.mText.empty() ? EventRecord::sNoName : InternName(event.mName);
    record.mThread = thread;
}

void RecordMaker::AddAsyncMark(const ChromeEvent& event)
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
    const std::uint32_t thread = FindAsyncThread(event.mProcess, category.empty() ? sNoCategory : category);
    const bool isEnd = event.mPhase == 'e';
    EventRecord& record = AddRecord(isEnd ? EventRecord::EKind::AsyncEnd : EventRecord::EKind::AsyncBegin, event);
    record.mStart = time;
    record.mKey = InternKey(event);
    record.mName = isEnd && event.mName.mText.empty() ? EventRecord::sNoName : InternName(event.mName);
    record.mThread = thread;
}

/// With the context of the event, which follows soon.
EventRecord& RecordMaker::AddRecord(EventRecord::EKind kind, const ChromeEvent& event)
{
    if (!event.mContext.empty() && kind != EventRecord::EKind::Metadata)
    {
        AddContext(event.mContext);
    }
    EventRecord& record = mRecords->mRecords.emplace_back();
    record.mContext = TextArena::sNone;
    record.mOrderAndKind = static_cast<std::uint32_t>(mRecords->mCounts.mNumEvents) << EventRecord::sKindBits |
                           static_cast<std::uint32_t>(kind);
    return record;
}

void RecordMaker::Reject(ERejection reason)
{
    ++mRecords->mCounts.mNumRejected;
    ++mRecords->mCounts.mRejectedByReason[static_cast<std::size_t>(reason)];
}

bool RecordMaker::ReadTime(const EventTime& field, std::int64_t& time)
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

std::uint32_t RecordMaker::FindThread(const TraceIDView& process, const TraceIDView& thread)
{
    if (process.mKind != TraceID::EKind::Number || thread.mKind != TraceID::EKind::Number)
    {
        return LookUpThread(process, thread);
    }
    const auto mixed = static_cast<std::uint64_t>(process.mNumber) * 31 + static_cast<std::uint64_t>(thread.mNumber);
    Recent& recent = mRecent[mixed % sNumRecent];
    if (recent.mIndex == 0 || recent.mProcess != process.mNumber || recent.mThread != thread.mNumber)
    {
        recent = {process.mNumber, thread.mNumber, LookUpThread(process, thread) + 1};
    }
    return recent.mIndex - 1;
}

std::uint32_t RecordMaker::LookUpThread(const TraceIDView& process, const TraceIDView& thread)
{
    const auto [entry, isNew] = mThreadNumbers.try_emplace({GetProcessID(process), thread.ToID()}, 0);
    if (isNew)
    {
        entry->second = NumberThread({entry->first.first, entry->first.second, false, {}});
    }
    return entry->second;
}

std::uint32_t RecordMaker::FindAsyncThread(const TraceIDView& process, std::string_view category)
{
    const auto [entry, isNew] = mAsyncNumbers.try_emplace({GetProcessID(process), std::string(category)}, 0);
    if (isNew)
    {
        entry->second = NumberThread({entry->first.first, {}, true, entry->first.second});
    }
    return entry->second;
}

std::uint32_t RecordMaker::NumberThread(EventRecords::NewThread thread)
{
    mThreads.push_back({!mWantedProcess || thread.mProcess == *mWantedProcess, 0});
    mRecords->mNewThreads.push_back(std::move(thread));
    return static_cast<std::uint32_t>(mThreads.size() - 1);
}

std::uint32_t RecordMaker::InternName(const EventText& name)
{
    const std::uint32_t number = mNames.Intern(name.mText.empty() ? sUnnamed : MakeValid(name), mWriter);
    if (number == mNumNames)
    {
        ++mNumNames;
        mRecords->mNewNames.push_back(&mNames.Get(number));
    }
    return number;
}

/// Of the record that is added next.
void RecordMaker::AddContext(std::string_view context)
{
    if (mNumQueued == mNumStored + sNumPending)
    {
        StoreContext(mPending[mNumStored++ % sNumPending]);
    }
    PendingContext& pending = mPending[mNumQueued++ % sNumPending];
    pending.mText = context;
    pending.mHash = Utility::gXXH64(context);
    pending.mRecord = mRecords->mRecords.size();
    mContexts.PrefetchPlace(pending.mHash);
    // An unused one has the hash 0, and what that fetches does no harm.
    mContexts.PrefetchText(mPending[(mNumQueued + sNumPending / 2) % sNumPending].mHash);
}

void RecordMaker::StoreContext(const PendingContext& pending)
{
    mRecords->mRecords[pending.mRecord].mContext = mContexts.Add(pending.mText, pending.mHash, mWriter);
}

/// Operations are the same when category and id are; a local id counts within its process.
std::uint32_t RecordMaker::InternKey(const ChromeEvent& event)
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
    const std::uint32_t number = mKeys.Intern(mKeyText, mWriter);
    if (number == mNumKeys)
    {
        ++mNumKeys;
        mRecords->mNewKeys.push_back(&mKeys.Get(number));
    }
    return number;
}

/// Valid until the next call.
std::string_view RecordMaker::MakeValid(const EventText& text)
{
    if (!text.mIsNonAscii || gCountValidUtf8(text.mText) == text.mText.size())
    {
        return text.mText;
    }
    mValidText.clear();
    gAppendValidUtf8(mValidText, text.mText);
    return mValidText;
}
}
