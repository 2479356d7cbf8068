#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "BarChartPlugin/BarChartDescription.h"
#include "Utility/Result.h"

namespace Profiler
{
class BarChartModel;
class Session;
}

namespace Quarkspindle
{

class Host;

/// How far the opening of a capture is: written by the thread that opens, read by the window. Each value by itself is
/// whole; that two of them may be of different moments shows for a tenth of a second.
struct OpeningProgress
{
    enum class EPhase : uint8_t
    {
        Loading,   ///< of which nothing is known
        Reading,   ///< a trace, in bytes
        Writing,   ///< its capture, in intervals
        Rebuilding ///< the models of a capture from its events, in thousandths
    };

    std::atomic<EPhase> mPhase = EPhase::Loading;
    std::atomic<uint64_t> mDone = 0;
    std::atomic<uint64_t> mTotal = 0;
    std::atomic<bool> mCancelled = false; ///< set by the window
};

/// A capture that is open, or why it is not.
struct OpenedCapture
{
    OpenedCapture();
    OpenedCapture(OpenedCapture&&) noexcept;
    OpenedCapture& operator=(OpenedCapture&&) noexcept;
    ~OpenedCapture();

    std::unique_ptr<Profiler::Session> mSession;           ///< null after a failure or a cancellation
    Profiler::BarChartModel* mModel = nullptr;             ///< the session's; null without the plug-in
    std::optional<Profiler::BarChartDescription> mBusiest; ///< the chart with most occurrences, when there is one
    Utility::Result mErrors;                               ///< with a session: what is not as it should be with it
    std::string mNotice;                                   ///< what the user should know of a trace that was imported
};

/// Opens what the user named, on any one thread: a capture, or a trace, which becomes a capture first. That lies in
/// `captureDirectory`, under a name that is made from the trace's path, and is used again as long as the trace does not
/// change; a capture that lies beside the trace and is not older than it goes before. A cancellation takes back what
/// was begun.
OpenedCapture gOpenPath(
    Host& host, const std::string& path, const std::string& captureDirectory, OpeningProgress& progress);

/// One line for people from each entry of a result: the message, and the file it speaks of.
std::string gDescribe(const Utility::Result& result);

}
