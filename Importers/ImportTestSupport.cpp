#include "Importers/ImportTestSupport.h"

#include "Importers/SentContexts.h"
#include "Utility/Format.h"
#include "Utility/Hash.h"

#include <cmath>
#include <utility>

#include <gtest/gtest.h>
#include <zlib.h>
#include <zstd.h>

namespace Importers
{
namespace
{
std::string FormatMicroseconds(double ms)
{
    // Times of the tests are short: the double is off by far less than half a nanosecond.
    return Utility::gFormat("%.15g", std::round(ms * 1e6) / 1e3);
}
}

bool TextSink::OnBegin(const RecordingInfo& info, Utility::Result&)
{
    mInfo = info;
    return true;
}

bool TextSink::OnEvent(const RecordedEvent& event, Utility::Result& result)
{
    if (mFailsAt && mNumEvents >= *mFailsAt)
    {
        return result.Fail(0, "refused");
    }
    ++mNumEvents;
    EXPECT_GE(event.mTimeMs, mLastTimeMs);
    EXPECT_LE(event.mTimeMs, mInfo.mEndTimeMs);
    mLastTimeMs = event.mTimeMs;
    if (event.mKind == EEventKind::ThreadStart)
    {
        EXPECT_FALSE(mThreads.contains(event.mThreadID)) << "started twice";
        mThreads.try_emplace(event.mThreadID);
        mOrder.push_back(event.mThreadID);
    }
    EXPECT_TRUE(mThreads.contains(event.mThreadID)) << "not started";
    Thread& thread = mThreads[event.mThreadID];
    EXPECT_FALSE(thread.mHasEnded);
    mEvents += (mEvents.empty() ? "" : " ") + std::to_string(event.mThreadID);
    switch (event.mKind)
    {
    case EEventKind::ThreadStart:
        mEvents += "+";
        break;
    case EEventKind::ThreadName:
        mEvents += "=" + std::string(event.mThreadName);
        EXPECT_TRUE(thread.mText.empty());
        EXPECT_FALSE(event.mThreadName.empty());
        thread.mName = event.mThreadName;
        break;
    case EEventKind::Begin:
    {
        const std::string name(event.mName->GetText());
        mEvents += "<" + name;
        EXPECT_EQ(event.mName->mHash, Utility::gXXH64(name));
        EXPECT_EQ(event.mIsNewName, ++mNames[name] == 1) << name;
        thread.mText += thread.mText.empty() || thread.mText.back() == '(' ? "" : " ";
        thread.mText += name + " " + FormatMicroseconds(event.mTimeMs) + "-";
        thread.mOpen.push_back(thread.mText.size());
        if (event.mContext != nullptr)
        {
            mContexts.emplace(event.mContext->GetText());
            thread.mText += " [" + std::string(event.mContext->GetText()) + "]";
        }
        thread.mText += " (";
        break;
    }
    case EEventKind::End:
        mEvents += ">";
        if (thread.mOpen.empty())
        {
            ADD_FAILURE() << "an end without a begin";
            return false;
        }
        if (thread.mText.ends_with(" ("))
        {
            thread.mText.resize(thread.mText.size() - 2);
        }
        else
        {
            thread.mText += ")";
        }
        thread.mText.insert(thread.mOpen.back(), FormatMicroseconds(event.mTimeMs));
        thread.mOpen.pop_back();
        break;
    case EEventKind::ThreadEnd:
        mEvents += "-";
        EXPECT_TRUE(thread.mOpen.empty());
        thread.mHasEnded = true;
        break;
    }
    return true;
}

bool TextSink::OnEnd(TextArena& texts, Utility::Result&)
{
    // In whatever order they lie in the arena.
    std::set<std::string> contexts;
    for (SentContexts sent(texts); sent.GetNumLeft() != 0;)
    {
        const StoredText& text = sent.Take();
        EXPECT_EQ(text.mHash, Utility::gXXH64(text.GetText()));
        EXPECT_TRUE(contexts.emplace(text.GetText()).second) << text.GetText();
    }
    EXPECT_EQ(contexts, mContexts);

    for (const auto& [id, thread] : mThreads)
    {
        EXPECT_TRUE(thread.mHasEnded) << id;
    }
    EXPECT_EQ(mLastTimeMs, mInfo.mEndTimeMs);
    mIsComplete = true;
    return true;
}

std::string TextSink::GetThreads() const
{
    std::string text;
    for (const std::int32_t id : mOrder)
    {
        const Thread& thread = mThreads.at(id);
        text += (text.empty() ? "" : "\n") + std::to_string(id);
        text += (thread.mName.empty() ? "" : " '" + thread.mName + "'") + ": " + thread.mText;
    }
    return text;
}

std::string ImportRun::GetError() const
{
    return mResult.GetEntries().empty() ? std::string() : mResult.GetEntries().front().mMessage;
}

ImportRun gRunImport(std::string_view text, const ImportOptions& options)
{
    const std::string path = gWriteNewFile(text);
    ImportRun run;
    run.mIsSuccess = gImportTrace(path, options, run.mSink, run.mReport, run.mResult);
    FileSystem::gDeleteFile(path);
    run.mThreads = run.mSink.GetThreads();
    EXPECT_EQ(run.mIsSuccess, run.mSink.mIsComplete);
    EXPECT_NE(run.mIsSuccess, run.mResult.HasErrors() || run.mReport.mIsCancelled);

    const ImportReport& report = run.mReport;
    std::uint64_t rejected = 0;
    for (const std::uint64_t count : report.mRejectedByReason)
    {
        rejected += count;
    }
    std::uint64_t skipped = 0;
    for (const auto& [phase, count] : report.mSkippedByPhase)
    {
        skipped += count;
    }
    EXPECT_EQ(rejected, report.mNumRejected);
    EXPECT_EQ(skipped, report.mNumSkipped);
    if (run.mIsSuccess)
    {
        EXPECT_EQ(report.mNumComplete + report.mNumPaired / 2, report.mNumIntervals);
        EXPECT_EQ(report.mNumEvents, report.mNumComplete + report.mNumPaired + report.mNumMetadata + skipped +
                                         rejected + report.mNumUnfinished + report.mNumUnmatched +
                                         report.mNumSummaries + report.mNumOtherProcesses);
    }
    return run;
}

std::string gDescribeCounts(const ImportReport& report)
{
    const std::pair<const char*, std::uint64_t> counts[] = {
        {"events", report.mNumEvents},
        {"complete", report.mNumComplete},
        {"paired", report.mNumPaired},
        {"metadata", report.mNumMetadata},
        {"skipped", report.mNumSkipped},
        {"rejected", report.mNumRejected},
        {"unfinished", report.mNumUnfinished},
        {"unmatched", report.mNumUnmatched},
        {"summaries", report.mNumSummaries},
        {"others", report.mNumOtherProcesses},
    };
    std::string text;
    for (const auto& [name, count] : counts)
    {
        if (count != 0)
        {
            text += (text.empty() ? "" : ", ") + std::string(name) + " " + std::to_string(count);
        }
    }
    return text;
}

std::string gWriteNewFile(std::string_view content)
{
    static const TemporaryFolder folder;
    static int number = 0;
    return folder.Write(std::to_string(++number), content);
}

std::string gCompressGzip(std::string_view text)
{
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string compressed(deflateBound(&stream, text.size()), '\0');
    stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(compressed.data());
    stream.avail_out = static_cast<uInt>(compressed.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    compressed.resize(stream.total_out);
    deflateEnd(&stream);
    return compressed;
}

std::string gCompressZstd(std::string_view text)
{
    std::string compressed(ZSTD_compressBound(text.size()), '\0');
    const std::size_t size = ZSTD_compress(compressed.data(), compressed.size(), text.data(), text.size(), 1);
    EXPECT_FALSE(ZSTD_isError(size));
    compressed.resize(size);
    return compressed;
}
}
