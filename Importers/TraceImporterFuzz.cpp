#include "Importers/TraceImporter.h"

#include "Importers/EventSink.h"
#include "Importers/TextTable.h"
#include "Importers/TraceReader.h"
#include "Utility/Hash.h"
#include "Utility/Result.h"
#include "tests/support/FuzzTarget.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Importers
{
namespace
{
/// Much text in a small compressed file takes the time and memory that much text takes, so it is left out.
constexpr std::size_t cMostUnpacked = std::size_t{1} << 20;

/// A multiple of what the importer reads at once.
constexpr std::size_t cWindowSize = std::size_t{256} * 1024;

bool IsShort(const std::string& path, std::size_t mostText, bool& isText)
{
    Utility::Result result;
    const std::unique_ptr<TraceReader> reader = TraceReader::sOpen(path, result);
    Fuzz::gCheck(reader != nullptr, "a file cannot be opened");
    isText = !reader->IsCompressed();
    std::vector<char> buffer(std::size_t{64} * 1024);
    std::size_t size = 0;
    std::size_t count = buffer.size();
    // Less comes only at the end.
    while (count == buffer.size() && size <= mostText)
    {
        count = reader->Read(buffer);
        size += count;
    }
    return size <= mostText;
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
        Note(event);
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

    bool OnEnd(TextArena&, Utility::Result&) override
    {
        mHasEnded = true;
        Fuzz::gCheck(mNumEnded == mThreads.size(), "a thread does not end");
        Fuzz::gCheck(mNumBegins == mInfo.mNumIntervals, "there are more or fewer intervals than announced");
        Fuzz::gCheck(mLastTimeMs == mInfo.mEndTimeMs, "the recording ends at another time than announced");
        return true;
    }

    bool HasEnded() const { return mHasEnded; }
    std::uint64_t GetNumBegins() const { return mNumBegins; }
    /// Equal for equal recordings.
    std::uint64_t GetDigest() const { return mDigest.GetDigest(); }

private:
    void Note(const RecordedEvent& event)
    {
        const auto add = [this](const auto& value) {
            mDigest.Update(std::as_bytes(std::span(&value, 1)));
        };
        add(event.mKind);
        add(event.mThreadID);
        add(event.mTimeMs);
        const auto getText = [](const StoredText* stored) {
            return stored != nullptr ? stored->GetText() : std::string_view();
        };
        for (const std::string_view text : {getText(event.mName), getText(event.mContext), event.mThreadName})
        {
            add(text.size());
            mDigest.Update(std::as_bytes(std::span(text)));
        }
    }

    struct Thread
    {
        std::uint64_t mNumOpen = 0;
        bool mHasStarted = false;
        bool mHasEnded = false;
    };

    RecordingInfo mInfo;
    std::unordered_map<std::int32_t, Thread> mThreads;
    Utility::XXH64Stream mDigest;
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

struct Run
{
    bool mIsImported = false;
    std::uint64_t mDigest = 0;
    ImportReport mReport;
};

Run RunImport(const std::string& path)
{
    CountingSink sink;
    Run run;
    Utility::Result result;
    run.mIsImported = gImportTrace(path, {}, sink, run.mReport, result);
    run.mDigest = sink.GetDigest();
    const ImportReport& report = run.mReport;
    Fuzz::gCheck(
        result.GetEntries().size() == (run.mIsImported ? 0U : 1U), "a failure has no entry, or a success has one");
    Fuzz::gCheck(
        run.mIsImported == sink.HasEnded(), "a recording without an end is a success, or one with an end is none");
    for (const TraceDamage& damage : report.mDamage)
    {
        Fuzz::gCheck(damage.mTextOffset <= report.mTextSize && damage.mFileOffset <= report.mFileSize,
            "damage lies outside of the file");
        Fuzz::gCheck(!damage.mReason.empty(), "damage has no reason");
    }
    if (run.mIsImported)
    {
        Fuzz::gCheck(sink.GetNumBegins() == report.mNumIntervals, "the report has another number of intervals");
        CheckCounts(report);
    }
    return run;
}

/// Of a text, and of the same behind white space.
void CheckSame(const Run& whole, const Run& padded, std::size_t numPadded)
{
    Fuzz::gCheck(whole.mIsImported == padded.mIsImported, "success depends on the windows");
    Fuzz::gCheck(whole.mDigest == padded.mDigest, "the recording depends on the windows");
    Fuzz::gCheck(whole.mReport.mNumEvents == padded.mReport.mNumEvents, "the count of entries depends on the windows");
    Fuzz::gCheck(whole.mReport.mRejectedByReason == padded.mReport.mRejectedByReason &&
                     whole.mReport.mSkippedByPhase == padded.mReport.mSkippedByPhase,
        "what is left out depends on the windows");
    // A reason may name a place in the text, at its end.
    const auto withoutPlace = [](const TraceDamage& damage) {
        return damage.mReason.substr(0, damage.mReason.find_first_of("0123456789"));
    };
    const auto isSame = [&](const TraceDamage& a, const TraceDamage& b) {
        return withoutPlace(a) == withoutPlace(b) && a.mTextOffset + numPadded == b.mTextOffset;
    };
    Fuzz::gCheck(
        std::ranges::equal(whole.mReport.mDamage, padded.mReport.mDamage, isSame), "the damage depends on the windows");
}
}
}

/// An input is the file: text, gzip or zstd.
void Fuzz::gRunInput(Input input)
{
    using namespace Importers;

    static const ScratchFolder sFolder;
    const std::string path = sFolder.Write("trace", input);
    bool isText = false;
    if (!IsShort(path, std::max(input.size(), cMostUnpacked), isText))
        return;
    const Run whole = RunImport(path);
    gCheck(whole.mReport.mFileSize == input.size(), "the report has another size of the file");
    constexpr std::byte markBegin{0xEF};
    if (!isText || input.empty() || input.size() > cWindowSize || input.front() == markBegin)
        return;

    // The same behind as much white space as brings the end of a window into the text.
    const Aside aside;
    const std::size_t place = Utility::gXXH64(input) % input.size();
    std::vector<std::byte> padded(cWindowSize - place, std::byte{' '});
    const std::size_t numPadded = padded.size();
    padded.insert(padded.end(), input.begin(), input.end());
    CheckSame(whole, RunImport(sFolder.Write("padded", padded)), numPadded);
}
