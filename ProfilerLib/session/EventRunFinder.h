#pragma once

#include "Utility/FileWriter.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Profiler
{
/// Where a record lies in a data file, and its time.
struct EventPlace
{
    std::uint64_t mBegin = 0;
    std::uint64_t mEnd = 0;
    double mTime = 0.0;
};

struct EventThread
{
    std::int32_t mProcessID = 0;
    std::int32_t mThreadID = 0;

    bool operator==(const EventThread&) const = default;
};

/// Finds where records begin again behind damage, in a data file of which no index says where its chunks lie: at a run
/// of 8 sound records whose times go on from those in front of the damage, or of all up to the end of the data, if the
/// first is on a thread that was seen just before. One thread; the file must outlive it.
class EventRunFinder
{
public:
    struct Run
    {
        std::uint64_t mBegin = 0;
        /// How many of the last records in front of the damage are later than the run: they are taken for damaged too.
        std::size_t mNumContradicted = 0;
    };

    explicit EventRunFinder(const FileSystem::InputFile& file);

    /// The run that costs the fewest bytes, those that it contradicts included; nothing when there is none, or when it
    /// costs more than all that follows. `recent` are the last records in front of `begin`, the oldest first; those
    /// before them end at `time`. False when the file cannot be read.
    [[nodiscard]] bool Find(std::uint64_t begin, std::uint64_t end, double time, std::span<const EventPlace> recent,
        std::optional<Run>& run, FileSystem::FileError& error);

private:
    bool LoadThreads(std::span<const EventPlace> events, FileSystem::FileError& error);
    bool IsKnown(const EventThread& thread) const;
    bool LoadWindow(std::uint64_t begin, std::uint64_t end, FileSystem::FileError& error);

    const FileSystem::InputFile& mFile;
    std::vector<std::byte> mWindow;
    std::size_t mSize = 0; ///< of what the window holds
    std::vector<EventThread> mThreads;
};
}
