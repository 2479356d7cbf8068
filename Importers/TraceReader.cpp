#include "Importers/TraceReader.h"

#include "Importers/Decompressor.h"
#include "Serialization/Error.h"
#include "Utility/Result.h"

#include <algorithm>
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
    reader->mInput = std::span(reader->mBuffer).first(reader->ReadFile(reader->mBuffer));
    if (reader->HasFailed())
    {
        result.FailText(Serialization::FileReadFailed, reader->mError.ToString());
        return nullptr;
    }
    reader->mDecompressor = Decompressor::sCreate(reader->mInput, reader->mFileSize);
    return reader;
}

std::size_t TraceReader::Read(std::span<char> target)
{
    return IsCompressed() ? Decompress(target) : ReadPlain(target);
}

std::size_t TraceReader::ReadPlain(std::span<char> target)
{
    const std::size_t count = std::min(mInput.size(), target.size());
    std::copy_n(mInput.begin(), count, std::as_writable_bytes(target).begin());
    mInput = mInput.subspan(count);
    return count + ReadFile(std::as_writable_bytes(target).subspan(count));
}

std::size_t TraceReader::ReadFile(std::span<std::byte> target)
{
    if (mIsAtEnd || target.empty())
    {
        return 0;
    }
    const std::optional<std::size_t> count = mFile.ReadAt(mFilePosition, target, mError);
    mIsAtEnd = !count || *count < target.size();
    mFilePosition += count.value_or(0);
    return count.value_or(0);
}

std::size_t TraceReader::Decompress(std::span<char> target)
{
    std::span<char> output = target;
    while (!output.empty() && mDamage.empty())
    {
        if (mInput.empty())
        {
            mInput = std::span(mBuffer).first(ReadFile(mBuffer));
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
    return target.size() - output.size();
}

void TraceReader::ReportDamage(std::string reason)
{
    mDamage = std::move(reason);
    mDamageOffset = GetFilePosition();
}
}
