#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace Utility
{
class Result;
}

namespace Symbols
{

class JobControl;

/// How long a server is waited for, of whatever kind it is.
struct DownloadPatience
{
    /// For a connection.
    std::chrono::milliseconds mConnection{5000};
    /// For the next `mLeast` bytes, from the start on. Whoever sends those in time may go on for as long as the job
    /// may.
    std::chrono::milliseconds mNext{10000};
    uint64_t mLeast = 40 << 10;
};

/// Tells when the patience with a server is at its end. For one transfer, on its thread.
class StallWatch
{
public:
    explicit StallWatch(const DownloadPatience& patience) : mPatience{patience} {}

    /// To be called again and again, also when nothing comes, with the number of bytes that have come so far.
    void Note(uint64_t numReceived);
    bool IsStalled() const { return mIsStalled; }

private:
    using Clock = std::chrono::steady_clock;

    const DownloadPatience mPatience;
    uint64_t mWaitedFrom = 0; ///< what had come when the present wait began
    Clock::time_point mWaitingSince = Clock::now();
    bool mIsStalled = false;
};

/// Fetches what a URL names into a file, which appears whole or not at all; its folder is made. Gives up when
/// `patience` is at its end, and within a second or so when the job is. False with the reason, also where the server
/// has no such file.
[[nodiscard]] bool gDownload(const std::string& url, const std::string& path, const JobControl& control,
    Utility::Result& result, const DownloadPatience& patience = {});

/// Text as a part of a URL.
std::string gEscapeForURL(const std::string& text);

}
