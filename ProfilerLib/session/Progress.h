#pragma once

#include <cstdint>
#include <string>

namespace Profiler
{

/// Told of the advance of long work, on the thread that does it.
class Progress
{
public:
    /// `kind` names the work (3: rebuilding models from the events), `fraction` lies in 0 to 1.
    virtual void Report(int32_t kind, float fraction, const std::string& text, int32_t extra) = 0;

protected:
    ~Progress() = default;
};

}
