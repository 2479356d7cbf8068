#pragma once

#include "Importers/EventSink.h"
#include "Importers/TraceImporter.h"
#include "Utility/Result.h"
#include "Utility/TemporaryFolder.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Importers
{
/// Notes a recording as text and checks the rules that every recording keeps.
class TextSink final : public EventSink
{
public:
    bool OnBegin(const RecordingInfo& info, Utility::Result& result) override;
    bool OnEvent(const RecordedEvent& event, Utility::Result& result) override;
    bool OnEnd(TextArena& texts, Utility::Result& result) override;

    /// A line for each thread, in the order of their starts: "7 'main': a 0-10 (b 2-3 [context]) c 12-13", in
    /// microseconds; the name of the thread only where it has one.
    std::string GetThreads() const;
    /// A word for each event, in the order of the recording: "7+ 7=main 7<a 7> 7-".
    const std::string& GetEvents() const { return mEvents; }

    RecordingInfo mInfo;
    bool mIsComplete = false;
    /// Refuse this event and those behind it.
    std::optional<std::uint64_t> mFailsAt;
    std::uint64_t mNumEvents = 0;

private:
    struct Thread
    {
        std::string mName;
        std::string mText;
        /// Where the end time of each open interval belongs in mText, and the time of its start.
        std::vector<std::size_t> mOpen;
        bool mHasEnded = false;
    };

    std::map<std::int32_t, Thread> mThreads;
    std::vector<std::int32_t> mOrder;
    std::map<std::string, std::uint64_t> mNames;
    std::set<std::string> mContexts;
    std::string mEvents;
    double mLastTimeMs = 0.0;
};

/// One import of a text, with all that came of it.
struct ImportRun
{
    bool mIsSuccess = false;
    ImportReport mReport;
    Utility::Result mResult;
    TextSink mSink;
    std::string mThreads;

    std::string GetError() const;
};

ImportRun gRunImport(std::string_view text, const ImportOptions& options = {});

/// The counts of a report that are not 0, by name: "events 3, complete 2, rejected 1".
std::string gDescribeCounts(const ImportReport& report);

/// A file for the caller to delete. Writing over one that is there makes some file systems wait for the disk, which
/// tests of a thousand files cannot.
std::string gWriteNewFile(std::string_view content);

std::string gCompressGzip(std::string_view text);
std::string gCompressZstd(std::string_view text);
}
