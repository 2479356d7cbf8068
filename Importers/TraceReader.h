#pragma once

#include "Importers/JsonScanner.h"
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

/// The text of a trace file in windows of a reused buffer. Whether it is compressed is told by its content. Damaged
/// compressed data ends the text early: all that was good before has been given by then.
class TraceReader final : public WindowSource
{
public:
    /// Null, with the reason in `result`, when the file cannot be read.
    static std::unique_ptr<TraceReader> sOpen(const std::string& path, Utility::Result& result);
    ~TraceReader() override;

    std::span<const char> NextWindow() override;

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
    static constexpr std::size_t sWindowSize = 256 * 1024;

    TraceReader();

    /// Empty at the end of the file and after an error.
    std::span<const std::byte> Read();
    std::span<const char> Decompress();
    void ReportDamage(std::string reason);

    FileSystem::InputFile mFile;
    FileSystem::FileError mError;
    std::uint64_t mFileSize = 0;
    /// Up to where the file has been read.
    std::uint64_t mFilePosition = 0;
    std::unique_ptr<Decompressor> mDecompressor;
    std::vector<std::byte> mBuffer = std::vector<std::byte>(sWindowSize);
    /// What has been read and not been used yet, in mBuffer.
    std::span<const std::byte> mInput;
    /// Of a compressed file.
    std::vector<char> mText;
    std::string mDamage;
    std::uint64_t mDamageOffset = 0;
    bool mIsAtEnd = false;
};
}
