#pragma once

#include "Importers/EventRecords.h"
#include "Importers/ImportReport.h"
#include "Importers/Interval.h"
#include "Importers/RecordArray.h"
#include "Importers/TextTable.h"
#include "Importers/ThreadTable.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Importers
{
/// Turns the records of a trace into intervals of threads, and sums up what was left out. One thread.
class IntervalCollector
{
public:
    /// With `process` only that one is imported. `report` must outlive the collector, as must the texts of the records.
    IntervalCollector(const std::optional<std::string>& process, ImportReport& report);

    /// What one maker has numbered. Each of its records comes here, in the order in which it made them, before any of
    /// them is added.
    void Learn(std::size_t maker, const EventRecords& records);
    /// In the order of the file.
    void Add(std::size_t maker, const EventRecords& records);

    /// Pairs begins and ends. No more events after this.
    void Finish();

    ThreadTable& GetThreads() { return mThreads; }
    /// Gives the memory of the threads and their intervals back.
    void ForgetThreads();
    NameTable& GetNames() { return mNames; }

private:
    struct Thread
    {
        TraceThread* mThread = nullptr;
        std::uint32_t mIndex = 0;
    };
    /// What the numbers of a maker stand for here.
    struct Numbers
    {
        std::vector<std::uint32_t> mNames;
        std::vector<std::uint32_t> mKeys;
        std::vector<Thread> mThreads;
    };

    void AddCounts(const ImportReport& counts);
    void AddSkipped(const std::string& phase, std::uint64_t count);
    void AddMetadata(const EventRecords::Metadata& metadata);
    void AddRecord(const Numbers& numbers, const EventRecord& record, std::uint64_t numBefore);

    void PairMarks();
    void PairAsyncMarks();
    bool IsImported(std::uint32_t thread);

    std::optional<TraceID> mWantedProcess;
    ImportReport& mReport;
    /// By maker.
    std::vector<Numbers> mNumbers;
    ThreadTable mThreads;
    NameTable mNames;
    /// Of asynchronous operations.
    NameTable mKeys;
    RecordArray<AsyncMark> mAsyncMarks;
};
}
