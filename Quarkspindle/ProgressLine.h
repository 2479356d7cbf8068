#pragma once

#include <cstdint>
#include <string>

#include "ProfilerLib/session/Progress.h"

namespace Quarkspindle
{

/// One line on standard error that says how far long work is, with rate and time left. Nothing is shown when standard
/// error is no terminal, and nothing remains at the end. One thread.
class ProgressLine final : public Profiler::Progress
{
public:
    enum class EUnit
    {
        Bytes,
        Items,
    };

    ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine();

    /// Shows the state of one phase; a new `text` starts a new phase, whose rate is measured afresh. Cheap to call
    /// often.
    void Show(const std::string& text, EUnit unit, uint64_t done, uint64_t total);

    void Report(int32_t kind, float fraction, const std::string& text, int32_t extra) override;

    /// ", 12.5 MiB/s, 3 s left" for work that has done so much in that time; empty while that says nothing yet.
    static std::string sFormatRate(EUnit unit, uint64_t done, uint64_t total, double seconds);

private:
    const bool mEnabled;
    bool mShown = false;
    std::string mText;
    double mPhaseStart = 0.0; ///< seconds
    double mLastShown = 0.0;  ///< seconds
};

}
