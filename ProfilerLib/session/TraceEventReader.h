#pragma once

#include "ProfilerLib/session/TraceEventCodec.h"
#include "Utility/FileWriter.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace Profiler
{
/// Steps over the records of a data file, a stretch of it at a time, with a file of its own. It reads blocks that stay
/// in a processor's cache until they are decoded, which costs less than to bring a whole chunk to memory and back; and
/// unlike pages of a mapped file, bytes that cannot be read, or that a shrinking file has lost, end it with a failure.
/// One thread at a time.
class TraceEventReader
{
public:
    [[nodiscard]] bool Open(const std::string& path, FileSystem::FileError& error) { return mFile.Open(path, error); }

    /// Begins the stretch of `size` bytes at `offset`, which has to be a record's. False with a failure when the file
    /// ends before the stretch does: then nothing of it is given.
    [[nodiscard]] bool Begin(std::uint64_t offset, std::uint64_t size);

    /// Gives the next record, which lives until the next call. False at the end of the stretch and at a failure, and
    /// from then on.
    [[nodiscard]] bool Step(TraceEventRecord& record) { return mDecoder.Step(record) || StepIntoNextBlock(record); }

    /// Calls `bool visit(const TraceEventRecord&)` for the record that `Step` gave and those behind it in the same
    /// block, until it returns false, which is the result too.
    template <class Visitor>
    bool VisitBlock(TraceEventRecord record, Visitor& visit)
    {
        // A copy, which can stay in registers.
        TraceEventDecoder decoder = mDecoder;
        bool goesOn = true;
        do
        {
            goesOn = visit(static_cast<const TraceEventRecord&>(record));
        } while (goesOn && decoder.Step(record));
        mDecoder = decoder;
        return goesOn;
    }

    /// Of the record that comes next, or of what could not be read, in the file.
    std::uint64_t GetOffset() const { return mOffset + mDecoder.GetOffset(); }

    /// Why the reading of the stretch ended before its end did; empty when it did not.
    const std::string& GetFailure() const { return mFailure; }

private:
    bool StepIntoNextBlock(TraceEventRecord& record);
    bool ReadBlock(std::uint64_t recordSize);
    bool Fail(std::uint64_t offset, std::string reason);
    std::string DescribeEarlyEnd() const;

    FileSystem::InputFile mFile;

    // The stretch.
    std::uint64_t mBegin = 0;
    std::uint64_t mEnd = 0;
    std::string mFailure;

    // The block in hand. Its memory is kept.
    std::uint64_t mOffset = 0; ///< where it begins in the file
    TraceEventDecoder mDecoder;
    std::unique_ptr<std::byte[]> mBlock;
    std::size_t mCapacity = 0;
};
}
