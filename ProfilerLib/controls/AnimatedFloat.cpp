#include "ProfilerLib/controls/AnimatedFloat.h"

#include <algorithm>

namespace Profiler
{

AnimatedFloat::AnimatedFloat(float value, double duration)
    : mValue(value),
      mFrom(value),
      mTo(value),
      mDuration(duration)
{}

AnimatedFloat::EStep AnimatedFloat::Advance(double deltaSeconds)
{
    if (IsAtRest())
        return EStep::AtRest;
    mProgress = mDuration == 0.0 ? 1.0 : std::min(1.0, mProgress + deltaSeconds / mDuration);
    if (IsAtRest())
    {
        mValue = mTo;
        return EStep::Arrived;
    }
    const double x = mProgress - 1.0;
    const double eased = x * x * x + 1.0;
    mValue = static_cast<float>(mFrom + (static_cast<double>(mTo) - mFrom) * eased);
    return EStep::Moving;
}

void AnimatedFloat::MoveTo(float target)
{
    mFrom = mValue;
    mTo = target;
    mProgress = mFrom == mTo ? 1.0 : 0.0;
}

void AnimatedFloat::JumpTo(float value)
{
    mValue = value;
    mFrom = value;
    mTo = value;
    mProgress = 1.0;
}

}
