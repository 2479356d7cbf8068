#pragma once

#include "Importers/ImportReport.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace Utility
{
class Result;
}

namespace Importers
{
class EventSink;

struct ImportProgress
{
    enum class EPhase : std::uint8_t
    {
        /// In bytes of the file.
        Reading,
        /// In intervals.
        Writing,
    };

    EPhase mPhase = EPhase::Reading;
    std::uint64_t mDone = 0;
    std::uint64_t mTotal = 0;
};

struct ImportOptions
{
    /// Import this process alone, by its id as the trace has it.
    std::optional<std::string> mProcess;
    /// Told of the advance, on the thread of the import, several times a second at least.
    std::function<void(const ImportProgress&)> mProgress;
    /// Looked at all the time: once it is true the import ends. A signal handler may set it.
    const std::atomic<bool>* mCancelled = nullptr;
};

/// Reads a file in the Chrome Trace Event format, plain, gzip or zstd, and sends its intervals to `sink` as a
/// recording. A damaged file is imported up to the damage, which `report` then holds. False when there is nothing to
/// import (the file cannot be read, is no trace, or has no interval), when the sink refused, or when the import was
/// cancelled: then `report` says so and `result` is left alone. `report` is filled in every case, as far as the import
/// came.
[[nodiscard]] bool gImportTrace(const std::string& path, const ImportOptions& options, EventSink& sink,
    ImportReport& report, Utility::Result& result);
}
