#pragma once

#include "Importers/ChromeEvent.h"
#include "Importers/ImportReport.h"
#include "Importers/Interval.h"
#include "Importers/RecordArray.h"
#include "Importers/TextTable.h"
#include "Importers/ThreadTable.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Importers
{
class EventBatch;

/// Turns the entries of a trace into intervals of threads, and counts what it leaves out.
class IntervalCollector
{
public:
    /// With `process` only that one is imported. `report` must outlive the collector.
    IntervalCollector(const std::optional<std::string>& process, ImportReport& report);

    /// All events of it. In the order of the file.
    void Add(const EventBatch& batch);

    /// Pairs begins and ends. No more events after this.
    void Finish();

    ThreadTable& GetThreads() { return mThreads; }
    NameTable& GetNames() { return mNames; }
    ContextTable& GetContexts() { return mContexts; }

private:
    void Add(const ChromeEvent& event);
    void CountSkipped(const ChromeEvent& event);
    void AddMetadata(const ChromeEvent& event);
    void AddIntervalEvent(const ChromeEvent& event);
    void AddComplete(TraceThread& thread, const ChromeEvent& event);
    void AddMark(TraceThread& thread, const ChromeEvent& event);
    void AddAsyncMark(const ChromeEvent& event, std::uint32_t process);
    void Reject(ERejection reason);
    bool ReadTime(const EventTime& field, std::int64_t& time);
    Mark MakeMark(const ChromeEvent& event, std::int64_t time, bool isEnd);
    std::uint32_t InternName(const EventText& name);
    std::string_view MakeValid(const EventText& text);
    std::uint32_t InternKey(const ChromeEvent& event);

    void PairMarks();
    void PairAsyncMarks();
    static Interval sJoin(const Mark& begin, const Mark& end);
    bool IsImported(std::uint32_t thread);

    std::optional<TraceID> mWantedProcess;
    ImportReport& mReport;
    ThreadTable mThreads;
    NameTable mNames;
    ContextTable mContexts;
    /// Of the context of the event that is added.
    std::uint64_t mContextHash = 0;
    /// Of asynchronous operations.
    NameTable mKeys;
    RecordArray<AsyncMark> mAsyncMarks;
    /// Of the report, by the letter of the phase, once that has occurred.
    std::array<std::uint64_t*, 256> mSkippedByLetter{};
    std::string mValidText;
    std::string mKeyText;
};
}
