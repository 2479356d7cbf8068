#pragma once

#include "Importers/ChromeEvent.h"
#include "Importers/EntryTarget.h"
#include "Importers/EventRecords.h"
#include "Importers/TextTable.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Importers
{
/// Makes records of the entries of a trace, and counts what it leaves out. Each thread that reads has one, with numbers
/// of its own for names, keys and threads: what needs the order of the trace, or what others have read, is left to the
/// IntervalCollector. One thread.
class RecordMaker final : public EntryTarget
{
public:
    /// With `process` only that one is imported. The arena must outlive the maker.
    RecordMaker(TextArena& arena, const std::optional<std::string>& process);

    /// Where the next entries go, until Finish.
    void Begin(EventRecords& records);
    void OnEntry(const ChromeEvent& event) override;
    /// All records are complete.
    void Finish();

private:
    struct NumberedThread
    {
        bool mIsImported = true;
        /// Of the target that it has last been noted in.
        std::uint64_t mTarget = 0;
    };

    /// Process and thread by number, which nearly all events have, and the number of the thread plus 1.
    struct Recent
    {
        std::int64_t mProcess = 0;
        std::int64_t mThread = 0;
        std::uint32_t mIndex = 0;
    };
    static constexpr std::size_t sNumRecent = 512;

    /// A context that waits for what it is compared with to come from memory, and the place of its record.
    struct PendingContext
    {
        std::string mText;
        std::uint64_t mHash = 0;
        std::size_t mRecord = 0;
    };
    static constexpr std::size_t sNumPending = 8;

    void CountSkipped(const ChromeEvent& event);
    void AddMetadata(const ChromeEvent& event);
    void AddIntervalEvent(const ChromeEvent& event);
    void AddComplete(std::uint32_t thread, const ChromeEvent& event);
    void AddMark(std::uint32_t thread, const ChromeEvent& event);
    void AddAsyncMark(const ChromeEvent& event);
    EventRecord& AddRecord(EventRecord::EKind kind, const ChromeEvent& event);
    void Reject(ERejection reason);
    bool ReadTime(const EventTime& field, std::int64_t& time);

    std::uint32_t FindThread(const TraceIDView& process, const TraceIDView& thread);
    std::uint32_t LookUpThread(const TraceIDView& process, const TraceIDView& thread);
    std::uint32_t FindAsyncThread(const TraceIDView& process, std::string_view category);
    std::uint32_t NumberThread(EventRecords::NewThread thread);
    std::uint32_t InternName(const EventText& name);
    void AddContext(std::string_view context);
    void StoreContext(const PendingContext& pending);
    std::uint32_t InternKey(const ChromeEvent& event);
    std::string_view MakeValid(const EventText& text);

    std::optional<TraceID> mWantedProcess;
    TextWriter mWriter;
    NameTable mNames;
    /// Of asynchronous operations.
    NameTable mKeys;
    ContextTable mContexts;
    /// Those that a target has as new.
    std::uint32_t mNumNames = 0;
    std::uint32_t mNumKeys = 0;

    std::vector<NumberedThread> mThreads;
    std::map<std::pair<TraceID, TraceID>, std::uint32_t> mThreadNumbers;
    std::map<std::pair<TraceID, std::string>, std::uint32_t> mAsyncNumbers;
    std::vector<Recent> mRecent = std::vector<Recent>(sNumRecent);

    EventRecords* mRecords = nullptr;
    std::uint64_t mNumTargets = 0;
    /// Of the target, by the letter of the phase: where it is counted, plus 1.
    std::array<std::uint32_t, 256> mSkippedByLetter{};
    std::array<PendingContext, sNumPending> mPending;
    /// Of contexts that came into mPending, and of those that have left it.
    std::uint64_t mNumQueued = 0;
    std::uint64_t mNumStored = 0;
    std::string mValidText;
    std::string mKeyText;
};
}
