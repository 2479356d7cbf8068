#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

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

/// Reads every file of a capture whole: session file, index, each chunk of the events anew from where the index says it
/// begins, and the chart model. Nothing is changed. One thread, for one capture.
class CaptureVerifier
{
public:
    CaptureVerifier(Host& host, std::string sessionPath, const std::atomic<bool>& interrupted);

    /// All findings, in the order session file, index, events, model; a damage of one file does not end the work. Cut
    /// short by an interrupt.
    std::vector<Finding> Verify();

private:
    struct Chunk;
    struct ChunkResult
    {
        uint64_t NumEvents = 0;
        std::string Fault; ///< empty when the chunk is sound
    };

    void VerifySessionFile();
    void VerifyEvents();
    void VerifyModel();
    bool ReadIndex(Profiler::Session& session, std::vector<Chunk>& chunks, uint64_t& numEvents);
    ChunkResult VerifyChunk(const Chunk& chunk, const std::vector<std::byte>& bytes) const;

    void AddSound(const std::string& file, std::string text);
    void AddDamage(const std::string& file, std::string text);

    Host& mHost;
    std::string mSessionPath;
    const std::atomic<bool>& mInterrupted;
    std::vector<Finding> mFindings;
};

}
