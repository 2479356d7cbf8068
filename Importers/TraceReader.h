#pragma once

#include "Utility/FileError.h"
#include "Utility/FileWriter.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Utility
{
class Result;
}

namespace Importers
{
class Decompressor;

/// The text of a trace file, piece by piece. Whether it is compressed is told by its content. Damaged compressed data
/// ends the text early: all that was good before has been given by then.
class TraceReader
{
public:
    /// Null, with the reason in `result`, when the file cannot be read.
    static std::unique_ptr<TraceReader> sOpen(const std::string& path, Utility::Result& result);
    ~TraceReader();

    /// Fills `target`, which is not empty, with what follows. Less than that, and then nothing each time, at the end.
    std::size_t Read(std::span<char> target);

    /// Reading failed, and so the text ended early.
    bool HasFailed() const { return mError.mOperation != FileSystem::EFileOperation::None; }
    const FileSystem::FileError& GetError() const { return mError; }

    /// Why the compressed data ended early; empty when it did not.
    const std::string& GetDamage() const { return mDamage; }
    std::uint64_t GetDamageOffset() const { return mDamageOffset; }

    bool IsCompressed() const { return mDecompressor != nullptr; }
    std::uint64_t GetFileSize() const { return mFileSize; }
    /// How much of the file has been used.
    std::uint64_t GetFilePosition() const { return mFilePosition - mInput.size(); }

private:
    static constexpr std::size_t sInputSize = 64 * 1024;

    TraceReader();

    /// How much was read; 0 at the end of the file and after an error.
    std::size_t ReadFile(std::span<std::byte> target);
    std::size_t ReadPlain(std::span<char> target);
    std::size_t Decompress(std::span<char> target);
    void ReportDamage(std::string reason);

    FileSystem::InputFile mFile;
    FileSystem::FileError mError;
    std::uint64_t mFileSize = 0;
    /// Up to where the file has been read.
    std::uint64_t mFilePosition = 0;
    std::unique_ptr<Decompressor> mDecompressor;
    std::vector<std::byte> mBuffer = std::vector<std::byte>(sInputSize);
    /// What has been read and not been used yet, in mBuffer.
    std::span<const std::byte> mInput;
    std::string mDamage;
    std::uint64_t mDamageOffset = 0;
    bool mIsAtEnd = false;
};
}
