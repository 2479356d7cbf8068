#pragma once

#include <cstdint>

namespace Profiler
{

/// A number that moves to its target with a fast start and a soft landing (a cubic ease-out).
class AnimatedFloat
{
public:
    /// What a step found and did.
    enum class EStep : uint8_t
    {
        Moving = 0,
        Arrived = 1, ///< in this step
        AtRest = 2,  ///< before it, so nothing was done
    };

    /// At rest at `value`; a way takes `duration` seconds.
    explicit AnimatedFloat(float value = 0.0f, double duration = 0.0);

    /// Moves on by some seconds. A step beyond the end of the way arrives exactly at the target.
    EStep Advance(double deltaSeconds);

    /// Starts from where the value is now, with the whole duration ahead; at rest at once where nothing is to be moved.
    void MoveTo(float target);
    /// Is at rest there at once.
    void JumpTo(float value);

    float GetValue() const { return mValue; }
    float GetTarget() const { return mTo; }
    bool IsAtRest() const { return mProgress == 1.0; }

private:
    float mValue;
    float mFrom;
    float mTo;
    double mProgress = 1.0; ///< of the way, exactly 1 at rest
    double mDuration;
};

}
