#include "Importers/TraceImporter.h"

#include "Importers/EventSink.h"
#include "Importers/TraceReader.h"
#include "Utility/Result.h"
#include "tests/support/FuzzTarget.h"

#include <cstdint>
#include <memory>
#include <numeric>
#include <unordered_map>
#include <vector>

namespace Importers
{
namespace
{
/// Much text in a small compressed file takes the time that much text takes.
constexpr std::size_t cMostText = std::size_t{1} << 20;

bool IsShort(const std::string& path)
{
    Utility::Result result;
    const std::unique_ptr<TraceReader> reader = TraceReader::sOpen(path, result);
    Fuzz::gCheck(reader != nullptr, "a file cannot be opened");
    // Less comes only at the end.
    std::vector<char> text(cMostText + 1);
    return reader->Read(text) <= cMostText;
}

/// Holds a recording to the rules of EventSink, and counts.
class CountingSink final : public EventSink
{
public:
    bool OnBegin(const RecordingInfo& info, Utility::Result&) override
    {
        Fuzz::gCheck(!mHasBegun, "a recording begins twice");
        mHasBegun = true;
        mInfo = info;
        return true;
    }

    bool OnEvent(const RecordedEvent& event, Utility::Result&) override
    {
        Fuzz::gCheck(mHasBegun && !mHasEnded, "an event comes outside of the recording");
        Fuzz::gCheck(event.mTimeMs >= mLastTimeMs, "times decrease");
        mLastTimeMs = event.mTimeMs;
        Thread& thread = mThreads[event.mThreadID];
        Fuzz::gCheck(thread.mHasStarted == (event.mKind != EEventKind::ThreadStart), "a thread starts late or twice");
        Fuzz::gCheck(!thread.mHasEnded, "an event comes behind the end of its thread");
        switch (event.mKind)
        {
        case EEventKind::ThreadStart:
            thread.mHasStarted = true;
            break;
        case EEventKind::ThreadName:
            break;
        case EEventKind::Begin:
            ++thread.mNumOpen;
            ++mNumBegins;
            break;
        case EEventKind::End:
            Fuzz::gCheck(thread.mNumOpen > 0, "an end has no begin");
            --thread.mNumOpen;
            break;
        case EEventKind::ThreadEnd:
            Fuzz::gCheck(thread.mNumOpen == 0, "a thread ends within an interval");
            thread.mHasEnded = true;
            ++mNumEnded;
            break;
        }
        return true;
    }

    bool OnEnd(Utility::Result&) override
    {
        mHasEnded = true;
        Fuzz::gCheck(mNumEnded == mThreads.size(), "a thread does not end");
        Fuzz::gCheck(mNumBegins == mInfo.mNumIntervals, "there are more or fewer intervals than announced");
        Fuzz::gCheck(mLastTimeMs == mInfo.mEndTimeMs, "the recording ends at another time than announced");
        return true;
    }

    bool HasEnded() const { return mHasEnded; }
    std::uint64_t GetNumBegins() const { return mNumBegins; }

private:
    struct Thread
    {
        std::uint64_t mNumOpen = 0;
        bool mHasStarted = false;
        bool mHasEnded = false;
    };

    RecordingInfo mInfo;
    std::unordered_map<std::int32_t, Thread> mThreads;
    std::uint64_t mNumBegins = 0;
    std::size_t mNumEnded = 0;
    double mLastTimeMs = 0.0;
    bool mHasBegun = false;
    bool mHasEnded = false;
};

/// Each entry of the trace is in one count.
void CheckCounts(const ImportReport& report)
{
    std::uint64_t numSkipped = 0;
    for (const auto& [phase, count] : report.mSkippedByPhase)
    {
        numSkipped += count;
    }
    const auto& rejected = report.mRejectedByReason;
    Fuzz::gCheck(numSkipped == report.mNumSkipped, "the phases that were skipped do not add up");
    Fuzz::gCheck(std::accumulate(rejected.begin(), rejected.end(), std::uint64_t{0}) == report.mNumRejected,
        "the reasons for rejection do not add up");
    Fuzz::gCheck(report.mNumIntervals == report.mNumComplete + report.mNumPaired / 2, "the intervals do not add up");
    Fuzz::gCheck(report.mNumEvents == report.mNumComplete + report.mNumPaired + report.mNumMetadata + numSkipped +
                                          report.mNumRejected + report.mNumUnfinished + report.mNumUnmatched +
                                          report.mNumSummaries + report.mNumOtherProcesses,
        "the entries do not add up");
}
}
}

/// An input is the file: text, gzip or zstd.
void Fuzz::gRunInput(Input input)
{
    using namespace Importers;

    static const ScratchFolder sFolder;
    const std::string path = sFolder.Write("trace", input);
    if (!IsShort(path))
        return;
    CountingSink sink;
    ImportReport report;
    Utility::Result result;
    const bool isImported = gImportTrace(path, {}, sink, report, result);
    gCheck(result.GetEntries().size() == (isImported ? 0U : 1U), "a failure has no entry, or a success has one");
    gCheck(isImported == sink.HasEnded(), "a recording without an end is a success, or one with an end is none");
    gCheck(report.mFileSize == input.size(), "the report has another size of the file");
    for (const TraceDamage& damage : report.mDamage)
    {
        gCheck(damage.mTextOffset <= report.mTextSize && damage.mFileOffset <= report.mFileSize,
            "damage lies outside of the file");
        gCheck(!damage.mReason.empty(), "damage has no reason");
    }
    if (isImported)
    {
        gCheck(sink.GetNumBegins() == report.mNumIntervals, "the report has another number of intervals");
        CheckCounts(report);
    }
}
