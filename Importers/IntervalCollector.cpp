#include "Importers/IntervalCollector.h"

#include "Importers/MarkPairer.h"
#include "Importers/ParallelLoop.h"
#include "Importers/Utf8.h"

#include <algorithm>
#include <tuple>

namespace Importers
{
IntervalCollector::IntervalCollector(const std::optional<std::string>& process, ImportReport& report) : mReport(report)
{
    if (process)
    {
        mWantedProcess = TraceID::sFromText(*process);
    }
}

void IntervalCollector::Learn(std::size_t maker, const EventRecords& records)
{
    mNumbers.resize(std::max(mNumbers.size(), maker + 1));
    Numbers& numbers = mNumbers[maker];
    for (StoredText* const name : records.mNewNames)
    {
        numbers.mNames.push_back(mNames.Adopt(*name));
    }
    for (StoredText* const key : records.mNewKeys)
    {
        numbers.mKeys.push_back(mKeys.Adopt(*key));
    }
    for (const EventRecords::NewThread& thread : records.mNewThreads)
    {
        const std::uint32_t index =
            thread.mIsAsync ? mThreads.FindAsyncThread(mThreads.FindProcess(thread.mProcess), thread.mCategory)
                            : mThreads.FindThread(thread.mProcess, thread.mThread);
        numbers.mThreads.push_back({&mThreads.GetThreads()[index], index});
    }
}

void IntervalCollector::Add(std::size_t maker, const EventRecords& records)
{
    const Numbers& numbers = mNumbers[maker];
    for (const std::uint32_t number : records.mUsedThreads)
    {
        TraceProcess& process = mThreads.GetProcessOf(*numbers.mThreads[number].mThread);
        process.mHasEvents = true;
        process.mIsImported = !mWantedProcess || process.mID == *mWantedProcess;
    }
    const std::uint64_t numBefore = mReport.mNumEvents;
    for (const EventRecord& record : records.mRecords)
    {
        if (record.GetKind() == EventRecord::EKind::Metadata)
        {
            AddMetadata(records.mMetadata[record.mName]);
        }
        else
        {
            AddRecord(numbers, record, numBefore);
        }
    }
    for (const auto& [phase, count] : records.mSkippedPhases)
    {
        AddSkipped(phase, count);
    }
    AddCounts(records.mCounts);
}

void IntervalCollector::AddCounts(const ImportReport& counts)
{
    mReport.mNumEvents += counts.mNumEvents;
    mReport.mNumComplete += counts.mNumComplete;
    mReport.mNumMetadata += counts.mNumMetadata;
    mReport.mNumSkipped += counts.mNumSkipped;
    mReport.mNumRejected += counts.mNumRejected;
    mReport.mNumUnfinished += counts.mNumUnfinished;
    mReport.mNumSummaries += counts.mNumSummaries;
    mReport.mNumOtherProcesses += counts.mNumOtherProcesses;
    for (std::size_t i = 0; i < counts.mRejectedByReason.size(); ++i)
    {
        mReport.mRejectedByReason[i] += counts.mRejectedByReason[i];
    }
}

void IntervalCollector::AddSkipped(const std::string& phase, std::uint64_t count)
{
    // A hostile file could have as many phases as events.
    constexpr std::size_t mostPhases = 256;
    constexpr std::size_t longestPhase = 32;

    std::string valid;
    gAppendValidUtf8(valid, phase);
    valid = gCutUtf8(valid, longestPhase);
    const bool isKnown = mReport.mSkippedByPhase.contains(valid);
    mReport.mSkippedByPhase[isKnown || mReport.mSkippedByPhase.size() < mostPhases ? valid : "(others)"] += count;
}

void IntervalCollector::AddMetadata(const EventRecords::Metadata& metadata)
{
    if (metadata.mIsThread)
    {
        mThreads.GetThreads()[mThreads.FindThread(metadata.mProcess, metadata.mThread)].mName = metadata.mName;
    }
    else
    {
        mThreads.GetProcesses()[mThreads.FindProcess(metadata.mProcess)].mName = metadata.mName;
    }
}

void IntervalCollector::AddRecord(const Numbers& numbers, const EventRecord& record, std::uint64_t numBefore)
{
    const Thread& thread = numbers.mThreads[record.mThread];
    const std::uint32_t name = record.mName == EventRecord::sNoName ? Mark::sNoName : numbers.mNames[record.mName];
    const auto order = static_cast<std::uint32_t>(numBefore + record.GetOrder());
    switch (record.GetKind())
    {
    case EventRecord::EKind::Complete:
        thread.mThread->mIntervals.Add(
            Interval{record.mStart, record.mEnd, name, record.mContext, order, Interval::sLast});
        break;
    case EventRecord::EKind::Begin:
    case EventRecord::EKind::End:
        thread.mThread->mIntervals.Add(
            Mark{record.mStart, name, record.mContext, order, record.GetKind() == EventRecord::EKind::End});
        break;
    case EventRecord::EKind::AsyncBegin:
    case EventRecord::EKind::AsyncEnd:
    {
        AsyncMark mark{};
        static_cast<Mark&>(mark) = {
            record.mStart, name, record.mContext, order, record.GetKind() == EventRecord::EKind::AsyncEnd};
        mark.mKey = numbers.mKeys[static_cast<std::size_t>(record.mKey)];
        mark.mThread = thread.mIndex;
        mAsyncMarks.Add(mark);
        break;
    }
    case EventRecord::EKind::Metadata:
        break;
    }
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

void IntervalCollector::ForgetThreads()
{
    mNumbers.clear();
    mThreads = ThreadTable();
}

void IntervalCollector::PairMarks()
{
    std::vector<ThreadIntervals*> threads;
    for (TraceThread& thread : mThreads.GetThreads())
    {
        if (thread.mIntervals.HasMarks())
        {
            threads.push_back(&thread.mIntervals);
        }
    }
    std::vector<PairCounts> counts(threads.size());
    gLoopInParallel(
        threads.size(), [&](std::size_t, std::size_t index) { counts[index] = threads[index]->FinishMarks(); });
    for (const PairCounts& numbers : counts)
    {
        mReport.mNumPaired += numbers.mPaired;
        mReport.mNumUnfinished += numbers.mUnfinished;
        mReport.mNumUnmatched += numbers.mUnmatched;
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
            mThreads.GetThreads()[begin.mThread].mIntervals.Add(ThreadIntervals::sJoin(begin, end));
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
    MarkPairer<AsyncMark> pairer;
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

bool IntervalCollector::IsImported(std::uint32_t thread)
{
    return mThreads.GetProcessOf(mThreads.GetThreads()[thread]).mIsImported;
}
}
