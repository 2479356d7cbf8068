#include "ProfilerLib/controls/ZoomRange.h"

#include <algorithm>

namespace Profiler
{

// std::min and std::max give their first argument when the second is not a number: the limit comes first.

void ZoomRange::SetTotal(float total)
{
    mTotal = total;
    mEnd = std::min(total, mEnd);
}

void ZoomRange::SetStart(float start)
{
    mStart = std::min(mEnd - mMinimumLength, std::max(0.0f, start));
}

void ZoomRange::SetEnd(float end)
{
    mEnd = std::max(mStart + mMinimumLength, std::min(mTotal, end));
}

void ZoomRange::Move(float newStart)
{
    const float length = GetLength();
    mStart = std::max(0.0f, newStart);
    mEnd = std::min(mTotal, newStart + length);
    if (mStart != newStart)
        mEnd = mStart + length;
    else if (mEnd != newStart + length)
        mStart = mEnd - length;
}

void ScrollValue::SetMaximum(float maximum)
{
    mMaximum = maximum;
    SetValue(mValue);
}

void ScrollValue::SetValue(float value)
{
    mValue = std::max(0.0f, std::min(mMaximum, value));
}

}
