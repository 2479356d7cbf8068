#include "Quarkspindle/ProgressLine.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "Quarkspindle/Output.h"
#include "System/Terminal.h"
#include "Utility/Clock.h"
#include "Utility/Format.h"
#include "Utility/TimeFormat.h"

namespace Quarkspindle
{

namespace
{

constexpr double cSecondsBetweenUpdates = 0.1;
constexpr double cSecondsBeforeEstimate = 0.5;

std::string FormatRate(ProgressLine::EUnit unit, double perSecond)
{
    if (unit == ProgressLine::EUnit::Bytes)
        return Utility::gFormatSize(static_cast<int64_t>(perSecond)) + "/s";
    return gFormatCount(static_cast<uint64_t>(perSecond)) + "/s";
}

/// A guess, so whole seconds, and whole minutes where there are many.
std::string FormatTimeLeft(double seconds)
{
    constexpr double cMinute = 60.0;
    const double minutes = std::ceil(seconds / cMinute);
    if (seconds <= 2.0 * cMinute)
        return Utility::gFormat("%.0f s", std::ceil(seconds));
    if (minutes <= 2.0 * cMinute)
        return Utility::gFormat("%.0f min", minutes);
    return Utility::gFormat("%.0f h", std::ceil(minutes / cMinute));
}

}

ProgressLine::ProgressLine() : mEnabled{System::gIsTerminal(System::EStandardStream::Error)} {}

ProgressLine::~ProgressLine()
{
    if (mShown)
        std::fputs("\r\x1b[K", stderr);
}

void ProgressLine::Show(const std::string& text, EUnit unit, uint64_t done, uint64_t total)
{
    if (!mEnabled)
        return;
    const double now = Utility::gGetTimeSeconds();
    if (text != mText)
    {
        mText = text;
        mPhaseStart = now;
    }
    else if (now - mLastShown < cSecondsBetweenUpdates)
    {
        return;
    }
    mLastShown = now;

    const double fraction = total == 0 ? 0.0 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    std::string line = Utility::gFormat("%s %3.0f %%", text.c_str(), std::floor(fraction * 100.0));
    line += sFormatRate(unit, done, total, now - mPhaseStart);
    const auto width = static_cast<std::size_t>(System::gGetTerminalWidth(System::EStandardStream::Error)) - 1;
    std::fprintf(stderr, "\r%s\x1b[K", gMakePrintable(line, width).c_str());
    std::fflush(stderr);
    mShown = true;
}

std::string ProgressLine::sFormatRate(EUnit unit, uint64_t done, uint64_t total, double seconds)
{
    if (seconds <= cSecondsBeforeEstimate || done == 0)
        return {};
    const double rate = static_cast<double>(done) / seconds;
    const double left = static_cast<double>(total - std::min(done, total)) / rate;
    return Utility::gFormat(", %s, %s left", FormatRate(unit, rate).c_str(), FormatTimeLeft(left).c_str());
}

void ProgressLine::Report(int32_t, float fraction, const std::string&, int32_t)
{
    constexpr uint64_t cTotal = 1000;
    if (!mEnabled)
        return;
    const auto done = static_cast<uint64_t>(std::lround(fraction * static_cast<float>(cTotal)));
    Show("Reading the events", EUnit::Bytes, done, cTotal);
}

}
