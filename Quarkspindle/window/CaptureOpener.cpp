#include "Quarkspindle/window/CaptureOpener.h"

#include <filesystem>
#include <system_error>

#include "Importers/CaptureImport.h"
#include "ProfilerLib/session/Progress.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Quarkspindle/CapturePath.h"
#include "Quarkspindle/ChartFinder.h"
#include "Quarkspindle/Host.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/Hash.h"
#include "Utility/Path.h"

namespace Quarkspindle
{

namespace
{

/// Progress of a replay, as the window shows it.
class RebuildProgress final : public Profiler::Progress
{
public:
    explicit RebuildProgress(OpeningProgress& progress) : mProgress{progress}
    {
        mProgress.mDone = 0;
        mProgress.mTotal = cTotal;
        mProgress.mPhase = OpeningProgress::EPhase::Rebuilding;
    }

    void Report(int32_t, float fraction, const std::string&, int32_t) override
    {
        mProgress.mDone = static_cast<uint64_t>(fraction * static_cast<float>(cTotal));
    }

private:
    static constexpr uint64_t cTotal = 1000;

    OpeningProgress& mProgress;
};

bool IsOlder(const std::string& path, const std::string& other)
{
    std::error_code failure;
    const auto time = std::filesystem::last_write_time(path, failure);
    const auto otherTime = failure ? time : std::filesystem::last_write_time(other, failure);
    return failure || time < otherTime;
}

bool IsTrace(const std::string& path)
{
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored) && FileSystem::gGetExtension(path) != "session";
}

/// Traces of one name in different folders have different captures.
std::string MakeCaptureDirectory(const std::string& trace, const std::string& captureDirectory)
{
    std::error_code ignored;
    const std::string path = std::filesystem::weakly_canonical(trace, ignored).string();
    const std::string name = FileSystem::gGetFileName(Importers::gGetCaptureDirectory(trace));
    const auto hash = static_cast<uint32_t>(Utility::gFNV1a64(path));
    return FileSystem::gCombinePath(captureDirectory, Utility::gFormat("%s-%08x", name.c_str(), hash));
}

std::string DescribeDamage(const std::string& trace, const Importers::ImportReport& report)
{
    if (report.mDamage.empty())
        return {};
    return FileSystem::gGetFileName(trace) +
           " is damaged and was read as far as it goes: " + report.mDamage.front().ToString();
}

bool ImportTrace(Host& host, const std::string& trace, const std::string& directory, OpeningProgress& progress,
    OpenedCapture& opened)
{
    Importers::ImportOptions options;
    options.mCancelled = &progress.mCancelled;
    options.mProgress = [&progress](const Importers::ImportProgress& state) {
        const bool reading = state.mPhase == Importers::ImportProgress::EPhase::Reading;
        progress.mDone = state.mDone;
        progress.mTotal = state.mTotal;
        progress.mPhase = reading ? OpeningProgress::EPhase::Reading : OpeningProgress::EPhase::Writing;
    };
    const Importers::CaptureServices services{&host.GetJobScheduler(), &host.GetPlugins()};
    Importers::ImportReport report;
    if (!Importers::gImportCapture(trace, directory, true, options, services, report, opened.mErrors))
        return false;
    opened.mNotice = DescribeDamage(trace, report);
    return true;
}

/// The session file of the capture to load, after an import when that is needed.
bool Prepare(Host& host, const std::string& path, const std::string& captureDirectory, OpeningProgress& progress,
    OpenedCapture& opened, std::string& sessionPath)
{
    if (!IsTrace(path))
        return gFindCapture(path, sessionPath, opened.mErrors);
    Utility::Result ignored;
    if (gFindCapture(path, sessionPath, ignored) && !IsOlder(sessionPath, path))
        return true;
    const std::string directory = MakeCaptureDirectory(path, captureDirectory);
    sessionPath = Importers::gGetCaptureSessionPath(directory);
    return (FileSystem::gFileExists(sessionPath) && !IsOlder(sessionPath, path)) ||
           ImportTrace(host, path, directory, progress, opened);
}

/// Makes the models that the capture does not hold. False after a cancellation.
bool Rebuild(OpeningProgress& progress, OpenedCapture& opened)
{
    RebuildProgress rebuilding{progress};
    Utility::Result rebuilt;
    const bool isStored = opened.mSession->ProcessPendingModels(rebuilt, &progress.mCancelled, &rebuilding);
    if (progress.mCancelled)
        return false;
    if (!isStored)
        opened.mErrors = std::move(rebuilt);
    return true;
}

}

OpenedCapture::OpenedCapture() = default;
OpenedCapture::OpenedCapture(OpenedCapture&&) noexcept = default;
OpenedCapture& OpenedCapture::operator=(OpenedCapture&&) noexcept = default;
OpenedCapture::~OpenedCapture() = default;

OpenedCapture gOpenPath(
    Host& host, const std::string& path, const std::string& captureDirectory, OpeningProgress& progress)
{
    OpenedCapture opened;
    std::string sessionPath;
    if (!Prepare(host, path, captureDirectory, progress, opened, sessionPath) || progress.mCancelled)
        return opened;
    progress.mPhase = OpeningProgress::EPhase::Loading;
    const int32_t loaded = Profiler::Session::sLoad(sessionPath, host.GetTypeRegistry(), nullptr,
        &host.GetJobScheduler(), &host.GetPlugins(), opened.mSession, opened.mErrors);
    if (loaded == Profiler::Session::Failed)
        return opened;
    if (loaded == Profiler::Session::LoadedWithPendingModels && !Rebuild(progress, opened))
    {
        opened.mSession.reset();
        return opened;
    }
    Utility::Result noModel;
    opened.mModel = gFindBarChartModel(*opened.mSession, noModel);
    if (opened.mModel != nullptr)
        opened.mBusiest = gFindBusiestChart(*opened.mSession, progress.mCancelled);
    if (progress.mCancelled)
        opened.mSession.reset();
    return opened;
}

std::string gDescribe(const Utility::Result& result)
{
    std::string text;
    for (const Utility::Result::Entry& entry : result.GetEntries())
    {
        text += text.empty() ? "" : "\n";
        text += entry.mContext.empty() ? entry.mMessage : entry.mContext + ": " + entry.mMessage;
    }
    return text.empty() ? "It failed, and nothing says why" : text;
}

}
