#pragma once

#include <string>
#include <vector>

#include "Utility/Result.h"

namespace Profiler
{
class Session;
}

namespace Quarkspindle
{

class Host;

/// One thing that a verification has to say of a file of a capture.
struct Finding
{
    std::string File; ///< its full path
    bool IsDamage = false;
    std::string Text; ///< what there is, or what is wrong and at which byte
};

/// Reads every file of a capture whole: session file, index, each chunk of the events by itself, and the chart model.
/// Nothing is changed. One thread, for one capture.
class CaptureVerifier
{
public:
    /// The host has loaded its plug-ins.
    CaptureVerifier(Host& host, std::string sessionPath);

    /// All findings, in the order session file, events, model; a damage of one file does not end the work.
    std::vector<Finding> Verify();

private:
    void VerifySessionFile();
    void VerifyEvents(Profiler::Session& session);
    void VerifyModel(Profiler::Session& session);

    void AddSound(const std::string& file, std::string text);

    /// One finding for each entry.
    void AddDamage(const std::string& file, const Utility::Result& result);

    Host& mHost;
    std::string mSessionPath;
    std::vector<Finding> mFindings;
};

}
