#include "Importers/TraceReader.h"

#include "Importers/Decompressor.h"
#include "Serialization/Error.h"
#include "Utility/Result.h"

#include <system_error>
#include <utility>

namespace Importers
{
TraceReader::TraceReader() = default;
TraceReader::~TraceReader() = default;

std::unique_ptr<TraceReader> TraceReader::sOpen(const std::string& path, Utility::Result& result)
{
    std::unique_ptr<TraceReader> reader(new TraceReader);
    FileSystem::FileError error;
    if (!reader->mFile.Open(path, error) || !reader->mFile.GetSize(reader->mFileSize, error))
    {
        const bool isMissing = error.mNumber == static_cast<int>(std::errc::no_such_file_or_directory);
        result.FailText(isMissing ? Serialization::FileNotFound : Serialization::FileReadFailed, error.ToString());
        return nullptr;
    }
    reader->mInput = reader->Read();
    if (reader->HasFailed())
    {
        result.FailText(Serialization::FileReadFailed, reader->mError.ToString());
        return nullptr;
    }
    reader->mDecompressor = Decompressor::sCreate(reader->mInput, reader->mFileSize);
    if (reader->IsCompressed())
    {
        reader->mText.resize(sWindowSize);
    }
    return reader;
}

std::span<const char> TraceReader::NextWindow()
{
    if (IsCompressed())
    {
        return Decompress();
    }
    const std::span<const std::byte> window = mInput.empty() ? Read() : std::exchange(mInput, {});
    return {reinterpret_cast<const char*>(window.data()), window.size()};
}

std::span<const std::byte> TraceReader::Read()
{
    if (mIsAtEnd)
    {
        return {};
    }
    const std::optional<std::size_t> count = mFile.ReadAt(mFilePosition, mBuffer, mError);
    mIsAtEnd = !count || *count < mBuffer.size();
    mFilePosition += count.value_or(0);
    return std::span(mBuffer).first(count.value_or(0));
}

std::span<const char> TraceReader::Decompress()
{
    std::span<char> output = mText;
    while (!output.empty() && mDamage.empty())
    {
        if (mInput.empty())
        {
            mInput = Read();
        }
        const bool isEnd = mInput.empty();
        const std::size_t before = output.size();
        if (!mDecompressor->Decode(mInput, output))
        {
            ReportDamage(mDecompressor->GetError());
        }
        else if (isEnd && output.size() == before)
        {
            if (!mDecompressor->IsComplete() && !HasFailed())
            {
                ReportDamage("the compressed data ends too early");
            }
            break;
        }
    }
    return std::span<const char>(mText).first(mText.size() - output.size());
}

void TraceReader::ReportDamage(std::string reason)
{
    mDamage = std::move(reason);
    mDamageOffset = GetFilePosition();
}
}
