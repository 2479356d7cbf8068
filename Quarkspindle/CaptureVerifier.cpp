#include "Quarkspindle/CaptureVerifier.h"

#include <memory>

#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventCodec.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Quarkspindle/Host.h"
#include "Quarkspindle/Output.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/RootObjects.h"
#include "Utility/FileSystem.h"
#include "Utility/FileWriter.h"
#include "Utility/Format.h"
#include "Utility/TimeFormat.h"

namespace Quarkspindle
{

namespace
{

using Objects = std::vector<std::unique_ptr<RTTI::Object>>;

/// The messages of a result without their contexts: the finding names the file already.
std::string JoinMessages(const Utility::Result& result)
{
    std::string text;
    for (const Utility::Result::Entry& entry : result.GetEntries())
        text += (text.empty() ? "" : "; ") + entry.mMessage;
    return text;
}

std::string FormatFileSize(const std::string& path)
{
    uint64_t size = 0;
    return FileSystem::gGetFileSize(path, size) ? Utility::gFormatSize(static_cast<int64_t>(size)) : "unknown size";
}

}

struct CaptureVerifier::Chunk : Profiler::TraceEventStream::Chunk
{
};

CaptureVerifier::CaptureVerifier(Host& host, std::string sessionPath, const std::atomic<bool>& interrupted)
    : mHost{host}, mSessionPath{std::move(sessionPath)}, mInterrupted{interrupted}
{
}

std::vector<Finding> CaptureVerifier::Verify()
{
    mFindings.clear();
    VerifySessionFile();
    VerifyEvents();
    VerifyModel();
    return std::move(mFindings);
}

void CaptureVerifier::VerifySessionFile()
{
    RTTI::ObjectFactory factory;
    factory.SetFactory<Profiler::Session>([] { return std::make_unique<Profiler::Session>(); });
    factory.SetFactory<Profiler::Module>([] { return std::make_unique<Profiler::Module>(nullptr); });
    Utility::Result result;
    Objects objects;
    if (!Serialization::gReadBinaryFile(mSessionPath, mHost.GetTypeRegistry(), factory,
            Serialization::EUnknownTypePolicy::Skip, objects, result))
        AddDamage(mSessionPath, JoinMessages(result));
    else if (Serialization::gTakeFirst<Profiler::Session>(objects) == nullptr)
        AddDamage(mSessionPath, "It holds no session");
    else
        AddSound(mSessionPath, "session, " + FormatFileSize(mSessionPath));
}

bool CaptureVerifier::ReadIndex(Profiler::Session& session, std::vector<Chunk>& chunks, uint64_t& numEvents)
{
    const std::string path = session.GetEventStream().GetIndexPath();
    RTTI::ObjectFactory factory;
    factory.SetFactory<Profiler::TraceEventStream>(
        [&session] { return std::make_unique<Profiler::TraceEventStream>(session); });
    Utility::Result result;
    Objects objects;
    if (!Serialization::gReadBinaryFile(
            path, mHost.GetTypeRegistry(), factory, Serialization::EUnknownTypePolicy::Fail, objects, result))
    {
        AddDamage(path, JoinMessages(result));
        return false;
    }
    const std::unique_ptr<Profiler::TraceEventStream> stream =
        Serialization::gTakeFirst<Profiler::TraceEventStream>(objects);
    if (stream == nullptr)
    {
        AddDamage(path, "It holds no event stream");
        return false;
    }
    for (const Profiler::TraceEventStream::Chunk& chunk : stream->GetChunks())
        chunks.push_back({chunk});
    numEvents = stream->GetNumEvents();
    AddSound(path, "index of " + gFormatCount(chunks.size()) + " chunks, " + FormatFileSize(path));
    return true;
}

void CaptureVerifier::VerifyEvents()
{
    Profiler::Session session{mSessionPath, nullptr, &mHost.GetJobScheduler(), &mHost.GetPlugins()};
    const std::string path = session.GetEventStream().GetDataPath();
    std::vector<Chunk> chunks;
    uint64_t numIndexed = 0;
    const bool hasIndex = ReadIndex(session, chunks, numIndexed);

    FileSystem::InputFile file;
    FileSystem::FileError error;
    uint64_t fileSize = 0;
    if (!file.Open(path, error) || !file.GetSize(fileSize, error))
    {
        AddDamage(path, error.ToString());
        return;
    }
    if (!hasIndex)
        return;

    uint64_t numEvents = 0;
    uint64_t end = 0;
    bool sound = true;
    std::vector<std::byte> bytes;
    for (std::size_t i = 0; i < chunks.size() && !mInterrupted.load(std::memory_order_relaxed); ++i)
    {
        const Chunk& chunk = chunks[i];
        ChunkResult verified;
        if (chunk.FileOffset > fileSize || chunk.Size > fileSize - chunk.FileOffset)
        {
            verified.Fault = Utility::gFormat("the file ends at byte %llu, before the chunk's %llu bytes do",
                static_cast<unsigned long long>(fileSize), static_cast<unsigned long long>(chunk.Size));
        }
        else if (chunk.FileOffset != end)
        {
            verified.Fault = Utility::gFormat(
                "the chunk before it ends at byte %llu", static_cast<unsigned long long>(end));
        }
        else
        {
            bytes.resize(chunk.Size);
            const std::optional<std::size_t> count = file.ReadAt(chunk.FileOffset, bytes, error);
            if (!count)
                verified.Fault = error.ToString();
            else if (*count != bytes.size())
                verified.Fault = "the file became shorter while it was read";
            else
                verified = VerifyChunk(chunk, bytes);
        }
        end = chunk.FileOffset + chunk.Size;
        numEvents += verified.NumEvents;
        if (!verified.Fault.empty())
        {
            sound = false;
            AddDamage(path, Utility::gFormat("chunk %zu of %zu at byte %llu: ", i + 1, chunks.size(),
                                static_cast<unsigned long long>(chunk.FileOffset)) +
                                verified.Fault);
        }
    }
    if (!sound)
        return;
    if (numEvents != numIndexed)
        AddDamage(path, Utility::gFormat("it holds %llu events, the index counts %llu",
                            static_cast<unsigned long long>(numEvents), static_cast<unsigned long long>(numIndexed)));
    else
        AddSound(path, gFormatCount(numEvents) + " events in " + gFormatCount(chunks.size()) + " chunks, " +
                           FormatFileSize(path));
    if (fileSize > end)
        AddSound(path, gFormatCount(fileSize - end) + " bytes behind the last chunk, left by an unfinished write: ignored");
}

CaptureVerifier::ChunkResult CaptureVerifier::VerifyChunk(const Chunk& chunk, const std::vector<std::byte>& bytes) const
{
    ChunkResult verified;
    Profiler::TraceEventDecoder decoder{bytes};
    Profiler::TraceEventRecord record;
    double lastTime = -1.0;
    uint64_t offset = chunk.FileOffset;
    while (decoder.Step(record))
    {
        const double time = record.GetTime();
        if (verified.NumEvents == 0 && time != chunk.StartTime)
            verified.Fault = Utility::gFormat(
                "its first event is at %.17g ms, the index says %.17g ms", time, chunk.StartTime);
        else if (time < lastTime)
            verified.Fault = Utility::gFormat("the event at byte %llu is earlier than the one before it",
                static_cast<unsigned long long>(offset));
        if (!verified.Fault.empty())
            return verified;
        lastTime = time;
        offset = chunk.FileOffset + decoder.GetOffset();
        ++verified.NumEvents;
    }
    if (decoder.GetStop() != Profiler::EDecodeStop::End)
        verified.Fault = Utility::gFormat("the event at byte %llu cannot be read: %s",
            static_cast<unsigned long long>(offset), Profiler::gGetText(decoder.GetStop()));
    else if (verified.NumEvents == 0)
        verified.Fault = "it holds no event";
    else if (lastTime != chunk.EndTime)
        verified.Fault =
            Utility::gFormat("its last event is at %.17g ms, the index says %.17g ms", lastTime, chunk.EndTime);
    return verified;
}

void CaptureVerifier::VerifyModel()
{
    Profiler::Session session{mSessionPath, nullptr, &mHost.GetJobScheduler(), &mHost.GetPlugins()};
    const std::string folder = session.GetFile(Profiler::cBarChartFolder);
    const std::string path = FileSystem::gCombinePath(folder, Profiler::cBarChartModelFile);
    if (!FileSystem::gFileExists(path))
    {
        AddSound(path, "not there: it will be made from the events");
        return;
    }
    if (mHost.GetPlugins().empty())
        return;
    Utility::Result result;
    std::unique_ptr<Profiler::BarChartModel> model;
    if (Profiler::BarChartModel::sLoad(*mHost.GetPlugins().front(), session, model, result))
        AddSound(path, "model of " + gFormatCount(model->GetAllBarCharts().size()) + " charts, " + FormatFileSize(path));
    else
        AddDamage(path, JoinMessages(result));
}

void CaptureVerifier::AddSound(const std::string& file, std::string text)
{
    mFindings.push_back({file, false, std::move(text)});
}

void CaptureVerifier::AddDamage(const std::string& file, std::string text)
{
    mFindings.push_back({file, true, std::move(text)});
}

}
