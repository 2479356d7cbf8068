#include "Renderer/GlyphOutline.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>

namespace Renderer
{
namespace
{
/// Collects the corners of one contour.
class Flattener
{
public:
    explicit Flattener(OutlinePoint start) { mPoints.push_back(start); }

    void Add(OutlinePoint point)
    {
        if (mPoints.size() > 1 && point == mPoints.back())
        {
            return;
        }
        mPoints.push_back(point);
    }

    void AddSpline(std::span<const OutlinePoint> points)
    {
        OutlinePoint start = mPoints.back();
        for (std::size_t i = 0; i + 1 < points.size(); ++i)
        {
            const OutlinePoint control = points[i];
            const OutlinePoint next = points[i + 1];
            const bool isLast = i + 2 == points.size();
            const OutlinePoint end =
                isLast ? next : OutlinePoint{(control.mX + next.mX) * 0.5f, (control.mY + next.mY) * 0.5f};
            AddConic(start, control, end);
            start = end;
        }
    }

    std::vector<OutlinePoint> Close()
    {
        mPoints.push_back(mPoints.front());
        return std::move(mPoints);
    }

private:
    void AddConic(OutlinePoint start, OutlinePoint control, OutlinePoint end)
    {
        const auto at = [](float a, float c, float e, float t) {
            return (a - 2.0f * c + e) * t * t + 2.0f * (c - a) * t + a;
        };
        constexpr int cSteps = 10;
        float t = 0.0f;
        for (int i = 0; i < cSteps; ++i, t += 0.1f)
        {
            Add({at(start.mX, control.mX, end.mX, t), at(start.mY, control.mY, end.mY, t)});
        }
        Add(end);
    }

    std::vector<OutlinePoint> mPoints;
};

/// An outline needs an extent in both directions to be scaled by.
float MakeExtent(float minimum, float maximum)
{
    constexpr float cSmallest = 1.0f / 1024.0f;
    return std::max(maximum - minimum, cSmallest);
}
}

std::vector<OutlinePoint> gFlattenContour(const OutlineContour& contour)
{
    Flattener flattener{contour.mStart};
    for (const OutlineContour::Run& run : contour.mRuns)
    {
        if (run.mIsSpline)
        {
            flattener.AddSpline(run.mPoints);
            continue;
        }
        for (const OutlinePoint point : run.mPoints)
        {
            flattener.Add(point);
        }
    }
    return flattener.Close();
}

GlyphOutline::GlyphOutline(const GlyphDescription& glyph) : mAdvance{glyph.mAdvance}
{
    OutlinePoint minimum{std::numeric_limits<float>::max(), std::numeric_limits<float>::max()};
    // Not the lowest number: a glyph that lies wholly to the left of the origin or below it still reaches up to it.
    OutlinePoint maximum;
    for (const OutlineContour& contour : glyph.mContours)
    {
        const std::vector<OutlinePoint> points = gFlattenContour(contour);
        for (const OutlinePoint point : points)
        {
            minimum = {std::min(minimum.mX, point.mX), std::min(minimum.mY, point.mY)};
            maximum = {std::max(maximum.mX, point.mX), std::max(maximum.mY, point.mY)};
        }
        for (std::size_t i = 0; i + 1 < points.size(); ++i)
        {
            const bool isRising = points[i + 1].mY > points[i].mY;
            mSortedOutlines.push_back(
                isRising ? LineSegment{points[i], points[i + 1]} : LineSegment{points[i + 1], points[i]});
        }
    }
    if (glyph.mContours.empty())
    {
        minimum = glyph.mBlankOrigin;
        maximum = {minimum.mX + glyph.mBlankSize.mX, minimum.mY + glyph.mBlankSize.mY};
    }
    std::sort(mSortedOutlines.begin(), mSortedOutlines.end(),
        [](const LineSegment& a, const LineSegment& b) { return a.mP1.mY < b.mP1.mY; });

    mSize = {MakeExtent(minimum.mX, maximum.mX), MakeExtent(minimum.mY, maximum.mY)};
    mLeft = minimum.mX;
    mTop = maximum.mY;
    mMinimum = minimum;
}
}
