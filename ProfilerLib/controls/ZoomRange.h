#pragma once

namespace Profiler
{

/// A window into something long, in units of it: the bars that a chart shows. The setters keep it inside, and no
/// shorter than the least length, as far as the total allows. What is not a number counts as beyond the limit.
struct ZoomRange
{
    float mTotal = 1000.0f;
    float mMinimumLength = 1.0f;
    float mStart = 0.0f;
    float mEnd = 1000.0f;

    float GetLength() const { return mEnd - mStart; }

    /// Cuts the end, not the start.
    void SetTotal(float total);
    void SetStart(float start);
    /// With a least length above the total the end goes beyond it.
    void SetEnd(float end);
    /// Keeps the length.
    void Move(float newStart);

    bool operator==(const ZoomRange&) const = default;
};

/// A number from 0 to a maximum.
struct ScrollValue
{
    float mMaximum = 100.0f;
    float mValue = 0.0f;

    void SetMaximum(float maximum);
    void SetValue(float value);

    bool operator==(const ScrollValue&) const = default;
};

}
