#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "Quarkspindle/Finding.h"
#include "Utility/Result.h"

namespace Profiler
{
class EventStreamRepair;
class Session;
}

namespace Quarkspindle
{

class Host;

/// Makes a damaged capture one that can be opened: the index anew from the events, the session file anew from the
/// events when it is lost, the models anew from the events whenever those or the index have changed. Events that cannot
/// be read are left out only when the user has said so; without that a capture that has any is not touched at all.
/// One thread, for one capture, which nobody else may be writing.
class CaptureRepair
{
public:
    /// The host has loaded its plug-ins; it and the flag outlive the object.
    CaptureRepair(Host& host, std::string sessionPath, bool dropsDamaged, const std::atomic<bool>& interrupted);

    /// False with the reason in `result` when the repair is not possible, or could not be finished; it can then be
    /// tried again. Otherwise the findings say what was done and what there is now, or what damage the user has to
    /// decide on.
    [[nodiscard]] bool Repair(Utility::Result& result);

    const std::vector<Finding>& GetFindings() const { return mFindings; }

private:
    enum class ESessionFile
    {
        Sound,
        Missing,
        Damaged,
    };

    bool ExamineSessionFile(Utility::Result& result);
    void NoteFaults(const Profiler::EventStreamRepair& events);
    bool RepairEvents(Profiler::Session& session, Profiler::EventStreamRepair& events, Utility::Result& result);
    bool RepairSessionFile(Utility::Result& result);
    bool RebuildModels(Utility::Result& result);
    void Note(const std::string& file, Finding::EState state, std::string text);

    Host& mHost;
    const std::string mSessionPath;
    const bool mDropsDamaged;
    const std::atomic<bool>& mInterrupted;
    ESessionFile mSessionFile = ESessionFile::Sound;
    std::string mSessionFault;
    std::vector<Finding> mFindings;
};

}
