#include "Renderer/PrimitiveList.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"

#include "Utility/Trace.h"
#include "tests/support/OffscreenGL.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

// What arrives on the surface, pixel by pixel. A channel may be off by gTolerance of 255, which is the rounding of
// blending and of interpolated coordinates; whether a pixel is covered is exact, since edges here pass through no
// pixel's centre.

namespace
{
using namespace Renderer;

constexpr int gTolerance = 2;
constexpr int gSize = 100;
constexpr Colour gWhite{1, 1, 1, 1};
constexpr Colour gRed{1, 0, 0, 1};
constexpr Colour gGreen{0, 1, 0, 1};
constexpr Colour gBlue{0, 0, 1, 1};

class PrimitivePixelsGuiTest : public ::testing::Test
{
protected:
    PrimitivePixelsGuiTest()
    {
        Utility::gSetTraceSinks({{[](const char*, void*) {}, nullptr}});
    }
    ~PrimitivePixelsGuiTest() override { Utility::gSetTraceSinks(mSinksBefore); }

    void SetUp() override
    {
        ASSERT_TRUE(mGL.MakeCurrent() && mContext.Initialise());
        mRenderer = std::make_unique<PrimitiveRenderer>(mContext, 1.0f);
        mRenderer->SetViewportSize(gSize, gSize);
    }

    /// The picture after one frame on white, drawn with mList unclipped and at the origin.
    QImage Paint(const std::function<void()>& draw)
    {
        mContext.BeginFrame();
        mContext.Clear(gWhite);
        mRenderer->BeginList(mList, {0, 0, gSize, gSize}, {0, 0});
        draw();
        mRenderer->Flush();
        mContext.EndFrame();
        return mGL.Read();
    }

    /// Every pixel is `colour` over white where `isCovered` says so for its centre, and white elsewhere.
    static void sExpectPixels(
        const QImage& image, const Colour& colour, const std::function<bool(float, float)>& isCovered)
    {
        int wrong = 0;
        for (int y = 0; y < gSize; ++y)
        {
            for (int x = 0; x < gSize; ++x)
            {
                Colour expected = gWhite;
                if (isCovered(static_cast<float>(x) + 0.5f, static_cast<float>(y) + 0.5f))
                {
                    expected = sBlend(colour, gWhite);
                }
                if (!sIsNear(image.pixel(x, y), expected) && ++wrong < 5)
                {
                    ADD_FAILURE() << "(" << x << ", " << y << ") is " << image.pixelColor(x, y).name().toStdString();
                }
            }
        }
        EXPECT_EQ(wrong, 0);
    }

    static void sExpectSame(const QImage& left, const QImage& right)
    {
        for (int i = 0; i < gSize * gSize; ++i)
        {
            const QRgb pixel = right.pixel(i % gSize, i / gSize);
            const auto channel = [](int value) {
                return static_cast<float>(value) / 255;
            };
            ASSERT_TRUE(sIsNear(left.pixel(i % gSize, i / gSize),
                {channel(qRed(pixel)), channel(qGreen(pixel)), channel(qBlue(pixel)), 1}))
                << "(" << i % gSize << ", " << i / gSize << ")";
        }
    }

    static Colour sBlend(const Colour& front, const Colour& back)
    {
        const auto blend = [&front](float a, float b) {
            return a * front.mAlpha + b * (1 - front.mAlpha);
        };
        return {blend(front.mRed, back.mRed), blend(front.mGreen, back.mGreen), blend(front.mBlue, back.mBlue), 1};
    }

    static bool sIsNear(QRgb pixel, const Colour& colour)
    {
        const auto isNear = [](int channel, float value) {
            return std::abs(channel - static_cast<int>(std::lround(value * 255))) <= gTolerance;
        };
        return isNear(qRed(pixel), colour.mRed) && isNear(qGreen(pixel), colour.mGreen) &&
               isNear(qBlue(pixel), colour.mBlue);
    }

    Tests::OffscreenGL mGL{gSize, gSize};
    RenderContext mContext;
    std::unique_ptr<PrimitiveRenderer> mRenderer;
    PrimitiveList mList{1000};
    PrimitiveList mOther{1000};
    const std::vector<Utility::TraceSink> mSinksBefore = Utility::gGetTraceSinks();
};

TEST_F(PrimitivePixelsGuiTest, SolidPrimitivesCoverWhatTheyAreMadeOf)
{
    struct Row
    {
        const char* mName;
        std::function<void()> mDraw;
        std::function<bool(float, float)> mIsCovered;
    };
    const Colour colour{0.2f, 0.4f, 0.8f, 0.5f};
    const auto isIn = [](float value, float low, float high) {
        return low < value && value < high;
    };
    const auto isInFrame = [isIn](float x, float y, float thickness) {
        return isIn(x, 10, 60) && isIn(y, 20, 50) &&
               !(isIn(x, 10 + thickness, 60 - thickness) && isIn(y, 20 + thickness, 50 - thickness));
    };
    const std::vector<Row> rows{{"rectangle",
                                    [&] {
                                        mList.FillRect({10, 20}, {60, 50}, colour, 9);
                                    },
                                    [&](float x, float y) {
                                        return isIn(x, 10, 60) && isIn(y, 20, 50);
                                    }},
        {"rectangle between pixels",
            [&] {
                mList.FillRect({10.4f, 20.6f}, {59.4f, 49.6f}, colour, 9);
            },
            [&](float x, float y) {
                return isIn(x, 10, 59) && isIn(y, 21, 50);
            }},
        {"rectangle that is turned away",
            [&] {
                mList.FillRect({60, 20}, {10, 50}, colour, 9);
            },
            [](float, float) {
                return false;
            }},
        {"frame",
            [&] {
                mList.FrameRect({10, 20}, {60, 50}, 3, colour, 9);
            },
            [&](float x, float y) {
                return isInFrame(x, y, 3);
            }},
        {"bordered rectangle",
            [&] {
                mList.BorderedRect({10, 20}, {60, 50}, 2, gWhite, colour, 9, 9);
            },
            [&](float x, float y) {
                return isInFrame(x, y, 2);
            }},
        {"line to the left",
            [&] {
                mList.DrawLine({60, 20}, {10, 20}, 4, colour, 9);
            },
            [&](float x, float y) {
                return isIn(x, 10, 60) && isIn(y, 18, 22);
            }},
        {"line down",
            [&] {
                mList.DrawLine({60.5f, 20}, {60.5f, 50}, 1, colour, 9);
            },
            [&](float x, float y) {
                return isIn(x, 60, 61) && isIn(y, 20, 50);
            }},
        {"line without a length",
            [&] {
                mList.DrawLine({60, 20}, {60, 20}, 9, colour, 9);
            },
            [](float, float) {
                return false;
            }},
        {"triangle",
            [&] {
                mList.FillTriangle({10.1f, 20}, {10.1f, 60}, {50.1f, 60}, colour, 9);
            },
            [&](float x, float y) {
                return x > 10.1f && y < 60 && x - 10.1f < y - 20;
            }},
        {"layer that is too far",
            [&] {
                mList.FillRect({10, 20}, {60, 50}, colour, 1001);
            },
            [](float, float) {
                return false;
            }}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.mName);
        sExpectPixels(Paint(row.mDraw), colour, row.mIsCovered);
    }
}

TEST_F(PrimitivePixelsGuiTest, LowerLayersCoverHigherOnesAndTheFirstOfALayerStays)
{
    const QImage image = Paint([this] {
        mList.FillRect({0, 0}, {50, 100}, gRed, 5);
        mList.FillRect({30, 0}, {80, 100}, gGreen, 5);
        mList.FillRect({0, 40}, {100, 60}, gBlue, 6);
        mList.FillRect({0, 80}, {100, 90}, {0, 0, 1, 0.5f}, 4);
        mList.FillRect({90, 0}, {100, 10}, gRed, 0);
    });
    EXPECT_TRUE(sIsNear(image.pixel(40, 10), gRed)) << "first of its layer";
    EXPECT_TRUE(sIsNear(image.pixel(60, 10), gGreen));
    EXPECT_TRUE(sIsNear(image.pixel(10, 50), gRed)) << "behind layer 5";
    EXPECT_TRUE(sIsNear(image.pixel(90, 50), gBlue));
    EXPECT_TRUE(sIsNear(image.pixel(10, 85), {0.5f, 0, 0.5f, 1})) << "mixed with what is behind";
    EXPECT_TRUE(sIsNear(image.pixel(60, 85), {0, 0.5f, 0.5f, 1}));
    EXPECT_TRUE(sIsNear(image.pixel(90, 85), {0.5f, 0.5f, 1, 1}));
    EXPECT_TRUE(sIsNear(image.pixel(95, 5), gRed)) << "layer 0 is the nearest";
}

TEST_F(PrimitivePixelsGuiTest, EachListKeepsToItsClipRectangle)
{
    const auto fillAll = [this](const Rectangle& clip) {
        mRenderer->BeginList(mOther, clip, {-500, -500});
        mOther.FillRect({0, 0}, {1000, 1000}, gRed, 9);
    };
    struct Row
    {
        const char* mName;
        Rectangle mClip;
        Rectangle mCovered;
    };
    // One pixel more on the right and below than the rectangle says.
    for (const Row& row : {Row{"inside", {10, 20, 30, 40}, {10, 20, 31, 41}}, Row{"nothing", {10, 20, -4, 40}, {}},
             Row{"one pixel", {10, 20, 0, 0}, {10, 20, 1, 1}},
             Row{"over the edge", {80, 90, 100, 100}, {80, 90, 100, 100}},
             Row{"no clip", {0, 0, -1, -1}, {0, 0, 100, 100}}})
    {
        SCOPED_TRACE(row.mName);
        sExpectPixels(Paint([&] { fillAll(row.mClip); }), gRed, [&row](float x, float y) {
            return x > row.mCovered.mX && x < row.mCovered.mX + row.mCovered.mWidth && y > row.mCovered.mY &&
                   y < row.mCovered.mY + row.mCovered.mHeight;
        });
    }
    const QImage image = Paint([&] {
        mList.FillRect({50, 50}, {100, 100}, gBlue, 8);
        fillAll({10, 10, 19, 19});
    });
    EXPECT_TRUE(sIsNear(image.pixel(29, 29), gRed) && sIsNear(image.pixel(30, 30), gWhite));
    EXPECT_TRUE(sIsNear(image.pixel(99, 99), gBlue)) << "the clip of one list is not that of another";
}

TEST_F(PrimitivePixelsGuiTest, DashesAlternateAlongTheLine)
{
    const QImage image = Paint([this] {
        mList.DrawDashedLine({10, 10}, {90, 10}, 4, 5, 0, gRed, 1);
        mList.DrawDashedLine({10, 30}, {10, 90}, 4, 7.4f, 3, gRed, 1);
        // Shorter than a pixel counts as one.
        mList.DrawDashedLine({20, 30}, {90, 30}, 4, 0, 0, gRed, 1);
    });
    sExpectPixels(image, gRed, [](float x, float y) {
        const auto isDash = [](float along, float length) {
            return std::fmod(std::floor(along / length), 2.0f) == 0;
        };
        return (x > 10 && x < 90 && y > 8 && y < 12 && isDash(x - 10, 5)) ||
               (x > 8 && x < 12 && y > 30 && y < 90 && isDash(y - 30 + 3, 7)) ||
               (x > 20 && x < 90 && y > 28 && y < 32 && isDash(x - 20, 1));
    });
}

TEST_F(PrimitivePixelsGuiTest, StripesGoOnFromOneRectangleToTheNext)
{
    const QImage whole = Paint([this] { mRenderer->FillHatchedRect({5, 5}, {95, 95}, gRed, 1); });
    const QImage parts = Paint([this] {
        mRenderer->FillHatchedRect({5, 5}, {37, 95}, gRed, 1);
        mRenderer->FillHatchedRect({37, 5}, {95, 61}, gRed, 1);
        mRenderer->FillHatchedRect({37, 61}, {95, 95}, gRed, 1);
    });
    sExpectSame(whole, parts);
    // 15 from stripe to stripe, the middle of one at 7.5; between them a faint black.
    for (int x = 6; x < 94; ++x)
    {
        const int offset = (x + 50 + 1) % 15;
        if (offset == 7 || offset == 8)
        {
            EXPECT_TRUE(sIsNear(whole.pixel(x, 50), gRed)) << x;
        }
        if (offset == 0 || offset == 14)
        {
            EXPECT_TRUE(sIsNear(whole.pixel(x, 50), {0.9f, 0.9f, 0.9f, 1})) << x;
        }
    }
}

TEST_F(PrimitivePixelsGuiTest, ShadowLinesFadeAtTheirSidesOnly)
{
    const QImage image = Paint([this] { mList.DrawShadowLine({10, 50}, {90, 50}, 20, {0, 0, 0, 1}, 1); });
    for (int x = 10; x < 90; ++x)
    {
        for (int y = 0; y < 20; ++y)
        {
            const float distance = std::min(static_cast<float>(y) + 0.5f, 19.5f - static_cast<float>(y));
            const float t = std::min(distance / 5, 1.0f);
            const float light = 1 - t * t * (3 - 2 * t);
            EXPECT_TRUE(sIsNear(image.pixel(x, 40 + y), {light, light, light, 1})) << x << ", " << 40 + y;
        }
    }
    for (int y = 0; y < 100; ++y)
    {
        EXPECT_TRUE(sIsNear(image.pixel(9, y), gWhite) && sIsNear(image.pixel(90, y), gWhite)) << "ends are sharp";
    }
}

TEST_F(PrimitivePixelsGuiTest, APolylineHasOneStrengthAllAround)
{
    // Two ways around the same rectangle, half transparent, so that overlaps and gaps would show.
    const Colour colour{0, 0, 0, 0.5f};
    const QImage image = Paint([&] { mList.DrawShadowRect({10, 10}, {90, 90}, 12, colour, 1); });
    const std::vector<Vector2> corners{{16, 84}, {84, 84}, {84, 16}, {16, 16}};
    sExpectSame(image, Paint([&] { mList.DrawPolyline(corners, 12, colour, true, 1); }));
    for (int i = 16; i < 84; ++i)
    {
        for (const QRgb pixel : {image.pixel(i, 15), image.pixel(i, 84), image.pixel(15, i), image.pixel(84, i)})
        {
            EXPECT_TRUE(sIsNear(pixel, {0.5f, 0.5f, 0.5f, 1})) << i;
        }
        for (const QRgb pixel : {image.pixel(i, 9), image.pixel(i, 90), image.pixel(9, i), image.pixel(90, i)})
        {
            EXPECT_TRUE(sIsNear(pixel, gWhite)) << i;
        }
    }
    EXPECT_TRUE(sIsNear(image.pixel(50, 50), gWhite));
}
}
