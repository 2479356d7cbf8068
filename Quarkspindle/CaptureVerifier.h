#pragma once

#include <string>
#include <vector>

#include "Quarkspindle/Finding.h"
#include "Utility/Result.h"

namespace Profiler
{
class Session;
}

namespace Quarkspindle
{

class Host;

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

/// Whether a session file is sound, by itself.
[[nodiscard]] bool gReadSessionFile(Host& host, const std::string& path, Utility::Result& result);

}
