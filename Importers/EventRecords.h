#pragma once

#include "Importers/ImportReport.h"
#include "Importers/TraceID.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Importers
{
struct StoredText;

/// What an import needs of one event, 32 bytes. Names, keys and threads have the numbers of the RecordMaker that made
/// it.
struct EventRecord
{
    enum class EKind : std::uint32_t
    {
        Complete,
        Begin,
        End,
        AsyncBegin,
        AsyncEnd,
        /// It gives a process or thread its name: mName is its place in EventRecords::mMetadata.
        Metadata,
    };

    static constexpr std::uint32_t sNoName = std::numeric_limits<std::uint32_t>::max();

    /// In nanoseconds, as mEnd.
    std::int64_t mStart;
    union
    {
        std::int64_t mEnd;
        /// Of an asynchronous one.
        std::int64_t mKey;
    };
    /// Or sNoName.
    std::uint32_t mName;
    /// In the arena, or TextArena::sNone.
    std::uint32_t mContext;
    std::uint32_t mThread;
    /// Above the kind.
    std::uint32_t mOrderAndKind;

    static constexpr unsigned sKindBits = 4;

    /// The number of the entry among those that its records tell of, from 1.
    std::uint32_t GetOrder() const { return mOrderAndKind >> sKindBits; }
    EKind GetKind() const { return static_cast<EKind>(mOrderAndKind & ((1U << sKindBits) - 1)); }
};
static_assert(sizeof(EventRecord) == 32);

/// What was made of some entries that stand one behind the other in a trace.
struct EventRecords
{
    /// A thread or, by category, the asynchronous operations of a process.
    struct NewThread
    {
        TraceID mProcess;
        TraceID mThread;
        bool mIsAsync = false;
        std::string mCategory;
    };

    /// "process_name" or "thread_name".
    struct Metadata
    {
        TraceID mProcess;
        TraceID mThread;
        bool mIsThread = false;
        std::string mName;
    };

    /// In the order of the text.
    std::vector<EventRecord> mRecords;
    std::vector<Metadata> mMetadata;
    /// Threads that have events which make intervals, or could.
    std::vector<std::uint32_t> mUsedThreads;
    /// Only the counts that are sums over entries.
    ImportReport mCounts;
    /// Of entries that are no intervals, with their number, in the order in which they came first.
    std::vector<std::pair<std::string, std::uint64_t>> mSkippedPhases;

    // What the maker has numbered since the records before, in the order of the numbers.
    std::vector<StoredText*> mNewNames;
    std::vector<StoredText*> mNewKeys;
    std::vector<NewThread> mNewThreads;

    void Clear()
    {
        mRecords.clear();
        mMetadata.clear();
        mUsedThreads.clear();
        mCounts = ImportReport();
        mSkippedPhases.clear();
        mNewNames.clear();
        mNewKeys.clear();
        mNewThreads.clear();
    }
};
}
