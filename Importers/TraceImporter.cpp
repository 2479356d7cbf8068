#include "Importers/TraceImporter.h"

#include "Importers/DecimalTime.h"
#include "Importers/EventPipeline.h"
#include "Importers/EventSender.h"
#include "Importers/EventSink.h"
#include "Importers/IntervalCollector.h"
#include "Importers/LaneMerger.h"
#include "Importers/RecordingThreads.h"
#include "Importers/TextTable.h"
#include "Importers/TraceReader.h"
#include "Serialization/Error.h"
#include "System/SerialThread.h"
#include "Utility/Result.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <memory>
#include <span>
#include <utility>

namespace Importers
{
namespace
{
bool IsCancelled(const ImportOptions& options)
{
    // The flag orders nothing else.
    return options.mCancelled != nullptr && options.mCancelled->load(std::memory_order_relaxed);
}

/// One import, from the file to the sink.
class Import
{
public:
    Import(const std::string& path, const ImportOptions& options, ImportReport& report, Utility::Result& result)
        : mPath(path),
          mOptions(options),
          mReport(report),
          mResult(result),
          mCollector(options.mProcess, report)
    {}

    bool Run(EventSink& sink)
    {
        const Utility::ResultContext context = mResult.PushContext(mPath);
        return Read() && Arrange() && Write(sink);
    }

private:
    bool Read();
    void NoteDamage(const std::vector<TextFault>& faults, const TraceReader& reader, const ReadState& state);
    bool FailToRead();
    bool Arrange();
    bool FailWithoutIntervals();
    std::string ListProcesses();
    bool Write(EventSink& sink);
    bool SendEvents(EventSink& sink);
    bool Cancel();

    const std::string& mPath;
    const ImportOptions& mOptions;
    ImportReport& mReport;
    Utility::Result& mResult;
    TextArena mTexts;
    IntervalCollector mCollector;
    std::vector<RecordingThread> mThreads;
};

bool Import::Read()
{
    const std::unique_ptr<TraceReader> reader = TraceReader::sOpen(mPath, mResult);
    if (reader == nullptr)
    {
        return false;
    }
    mReport.mFileSize = reader->GetFileSize();
    EventPipeline pipeline(*reader, mOptions.mProcess, mTexts, mCollector);
    const bool isTrace = pipeline.Read([this](std::uint64_t filePosition) {
        if (IsCancelled(mOptions))
        {
            return false;
        }
        if (mOptions.mProgress)
        {
            mOptions.mProgress({ImportProgress::EPhase::Reading, filePosition, mReport.mFileSize});
        }
        return true;
    });
    const ReadState& state = pipeline.GetReadState();
    mReport.mTextSize = state.mTextSize;
    if (IsCancelled(mOptions))
    {
        return Cancel();
    }
    if (state.mHasFailed)
    {
        return mResult.FailText(Serialization::FileReadFailed, reader->GetError().ToString());
    }
    NoteDamage(pipeline.GetParser().GetFaults(), *reader, state);
    return isTrace || FailToRead();
}

void Import::NoteDamage(const std::vector<TextFault>& faults, const TraceReader& reader, const ReadState& state)
{
    for (const TextFault& fault : faults)
    {
        // That the text ends early is then only what follows from the damage.
        if (!(fault.mIsEnd && state.mIsDamaged))
        {
            const std::uint64_t fileOffset = reader.IsCompressed() ? state.mFilePosition : fault.mOffset;
            mReport.mDamage.push_back({fault.mReason, fault.mOffset, fileOffset, reader.IsCompressed()});
        }
    }
    if (state.mIsDamaged)
    {
        mReport.mDamage.push_back({reader.GetDamage(), state.mTextSize, reader.GetDamageOffset(), true});
    }
}

bool Import::FailToRead()
{
    const TraceDamage& damage = mReport.mDamage.back();
    return mResult.FailText(Serialization::CorruptData, "not a Chrome trace: " + damage.ToString());
}

bool Import::Arrange()
{
    mCollector.Finish();
    if (IsCancelled(mOptions))
    {
        return Cancel();
    }
    if (mReport.mNumIntervals == 0)
    {
        return FailWithoutIntervals();
    }
    mThreads = gMakeRecordingThreads(mCollector.GetThreads(), mReport);

    mReport.mFirstTimeNs = std::numeric_limits<std::int64_t>::max();
    mReport.mLastTimeNs = std::numeric_limits<std::int64_t>::min();
    for (const TraceThread& thread : mCollector.GetThreads().GetThreads())
    {
        // A thread without intervals has a first time behind all others, and a last one in front of them.
        mReport.mFirstTimeNs = std::min(mReport.mFirstTimeNs, thread.mIntervals.GetFirstTime());
        mReport.mLastTimeNs = std::max(mReport.mLastTimeNs, thread.mIntervals.GetLastTime());
    }
    return !IsCancelled(mOptions) || Cancel();
}

bool Import::FailWithoutIntervals()
{
    if (!mReport.mDamage.empty())
    {
        return mResult.FailText(Serialization::CorruptData, "no whole event: " + mReport.mDamage.front().ToString());
    }
    if (mOptions.mProcess && mReport.mNumOtherProcesses > 0)
    {
        return mResult.FailText(Serialization::CorruptData,
            "no event of process " + *mOptions.mProcess + "; the trace has " + ListProcesses());
    }
    std::string text = "the trace has no interval to import: " + std::to_string(mReport.mNumEvents) + " entries";
    for (std::size_t i = 0; i < mReport.mRejectedByReason.size(); ++i)
    {
        if (mReport.mRejectedByReason[i] != 0)
        {
            text += ", " + std::to_string(mReport.mRejectedByReason[i]) + " times " +
                    gGetRejectionText(static_cast<ERejection>(i));
        }
    }
    return mResult.FailText(Serialization::CorruptData, text);
}

/// "the processes 12, 40 (server)"
std::string Import::ListProcesses()
{
    constexpr std::size_t mostNamed = 10;

    std::vector<const TraceProcess*> processes;
    for (const TraceProcess& process : mCollector.GetThreads().GetProcesses())
    {
        if (process.mHasEvents)
        {
            processes.push_back(&process);
        }
    }
    std::sort(processes.begin(), processes.end(),
        [](const TraceProcess* a, const TraceProcess* b) { return a->mID < b->mID; });

    std::string text = processes.size() == 1 ? "process " : "processes ";
    for (std::size_t i = 0; i < std::min(processes.size(), mostNamed); ++i)
    {
        text += i > 0 ? ", " : "";
        text += processes[i]->mID.ToString();
        text += processes[i]->mName.empty() ? "" : " (" + processes[i]->mName + ")";
    }
    return text + (processes.size() > mostNamed ? " and more" : "");
}

bool Import::Write(EventSink& sink)
{
    const auto duration =
        static_cast<std::uint64_t>(mReport.mLastTimeNs) - static_cast<std::uint64_t>(mReport.mFirstTimeNs);
    if (!sink.OnBegin({mReport.mProcessID, gToMilliseconds(duration), mReport.mNumIntervals}, mResult) ||
        !SendEvents(sink))
    {
        return false;
    }
    if (IsCancelled(mOptions))
    {
        return Cancel();
    }
    // What is made of the texts now has the room of the intervals.
    mThreads.clear();
    mCollector.ForgetThreads();
    return sink.OnEnd(mTexts, mResult);
}

/// Merges on this thread, and sends on another.
bool Import::SendEvents(EventSink& sink)
{
    constexpr std::size_t eventsPerBatch = 8'192;
    // One is filled and one is sent, others wait.
    constexpr std::size_t numBatches = 4;

    LaneMerger merger(mThreads, mReport.mFirstTimeNs);
    EventSender sender(mThreads, mCollector.GetNames(), mTexts, sink);
    std::array<std::vector<MergedEvent>, numBatches> batches;
    std::atomic<bool> hasFailed{false};
    const auto send = [&](std::span<const MergedEvent> events) {
        // Relaxed: the result is looked at when the thread has finished.
        if (!hasFailed.load(std::memory_order_relaxed) && !sender.Send(events, mResult))
        {
            hasFailed.store(true, std::memory_order_relaxed);
        }
    };
    // The last of them: it uses all others.
    System::SerialThread thread("Event Sender", numBatches - 2);
    std::uint64_t numEvents = 0;
    for (std::size_t i = 0; !hasFailed.load(std::memory_order_relaxed); i = (i + 1) % numBatches)
    {
        if (IsCancelled(mOptions))
        {
            return Cancel();
        }
        batches[i].resize(eventsPerBatch);
        const std::size_t count = merger.Merge(batches[i]);
        if (count == 0)
        {
            break;
        }
        thread.Post([&send, events = std::span<const MergedEvent>(batches[i]).first(count)] { send(events); });
        numEvents += count;
        if (mOptions.mProgress)
        {
            mOptions.mProgress({ImportProgress::EPhase::Writing, numEvents / 2, mReport.mNumIntervals});
        }
    }
    thread.Finish();
    return !hasFailed.load(std::memory_order_relaxed);
}

bool Import::Cancel()
{
    mReport.mIsCancelled = true;
    return false;
}
}

bool gImportTrace(const std::string& path, const ImportOptions& options, EventSink& sink, ImportReport& report,
    Utility::Result& result)
{
    report = ImportReport();
    return Import(path, options, report, result).Run(sink);
}
}
