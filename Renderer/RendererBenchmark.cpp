#include "Renderer/FontManager.h"
#include "Renderer/Material.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"

#include "Utility/Trace.h"
#include "tests/support/OffscreenGL.h"

#include <GL/glew.h>

#include <QtGui/QGuiApplication>

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace
{
using namespace Renderer;

constexpr int gRectCount = 2000;
constexpr int gBarCount = 300;
constexpr int gWidth = 1200;
constexpr int gHeight = 600;
constexpr Colour gUpperColour{0.697f, 0.731f, 0.85f, 0.85f};
constexpr Colour gLowerColour{0.82f, 0.86f, 1.0f, 1.0f};

/// A renderer with the lists of a chart. Without a GL context it collects, and a flush only empties it.
struct Chart
{
    explicit Chart(RenderContext& context) : mRenderer(context, 1.0f) { mRenderer.SetViewportSize(gWidth, gHeight); }

    void Begin(PrimitiveList& list) { mRenderer.BeginList(list, {0, 0, gWidth, gHeight}, {0, 0}); }

    /// Two levels of detail that fade into each other, with the frame of the selection and a grid around them.
    void DrawFrame()
    {
        Begin(mContents);
        mContents.FillRect({0, 0}, {gWidth, gHeight}, {1, 1, 1, 1}, 104);
        for (const std::uint32_t layer : {103u, 102u})
        {
            constexpr float barWidth = static_cast<float>(gWidth) / gBarCount;
            float x = 0;
            for (int bar = 0; bar < gBarCount; ++bar, x += barWidth)
            {
                const float top = static_cast<float>((bar * 37) % 400);
                mContents.FillRect({x, top}, {x + barWidth - 2, top + 100}, gUpperColour, layer);
                mContents.FillRect({x, top + 100}, {x + barWidth - 2, gHeight}, gLowerColour, layer);
            }
        }
        mContents.BorderedRect({100, 0}, {200, gHeight}, 2, {1, 1, 0.6f, 0.3f}, {0, 0, 0, 0.4f}, 101, 101);
        Begin(mAxis);
        for (int tick = 0; tick < 20; ++tick)
        {
            const auto y = static_cast<float>(tick * 30);
            mAxis.FillRect({0, y}, {8, y + 1}, {0, 0, 0, 1}, 101);
            mAxis.DrawText({10, y}, 12, {0, 0, 0, 1}, "11.25 ms", 100);
        }
        mRenderer.Flush();
    }

    PrimitiveRenderer mRenderer;
    PrimitiveList mContents{10000};
    PrimitiveList mAxis{100};
};

void SilenceTrace()
{
    Utility::gSetTraceSinks({{[](const char*, void*) {}, nullptr}});
}

void BM_FillRect(benchmark::State& state)
{
    SilenceTrace();
    RenderContext context;
    Chart chart(context);
    for (auto _ : state)
    {
        chart.Begin(chart.mContents);
        for (int i = 0; i < gRectCount; ++i)
        {
            const auto x = static_cast<float>(i);
            chart.mContents.FillRect({x, 0}, {x + 1, 100}, gLowerColour, 103);
        }
        benchmark::ClobberMemory();
        chart.mRenderer.Flush();
    }
    state.SetItemsProcessed(state.iterations() * gRectCount * 4);
}
BENCHMARK(BM_FillRect);

/// The limit of the one before: the same bytes into arrays, with no look-up and no bookkeeping.
void BM_FillRectLimit(benchmark::State& state)
{
    std::vector<float> positions(gRectCount * 12);
    std::vector<float> colours(gRectCount * 16);
    std::vector<std::uint32_t> indices(gRectCount * 6);
    for (auto _ : state)
    {
        float* position = positions.data();
        float* colour = colours.data();
        std::uint32_t* index = indices.data();
        for (std::uint32_t i = 0; i < gRectCount; ++i)
        {
            const auto x = static_cast<float>(i);
            const std::array<float, 12> corners{103, x, 0, 103, x + 1, 0, 103, x, 100, 103, x + 1, 100};
            position = std::copy(corners.begin(), corners.end(), position);
            for (int corner = 0; corner < 4; ++corner)
            {
                *colour++ = gLowerColour.mRed;
                *colour++ = gLowerColour.mGreen;
                *colour++ = gLowerColour.mBlue;
                *colour++ = gLowerColour.mAlpha;
            }
            const std::uint32_t base = i * 4;
            const std::array<std::uint32_t, 6> numbers{base + 2, base + 1, base, base + 1, base + 2, base + 3};
            index = std::copy(numbers.begin(), numbers.end(), index);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * gRectCount * 4);
}
BENCHMARK(BM_FillRectLimit);

/// Building a frame, without what GL does.
void BM_BuildFrame(benchmark::State& state)
{
    SilenceTrace();
    RenderContext context;
    Chart chart(context);
    for (auto _ : state)
    {
        chart.DrawFrame();
    }
}
BENCHMARK(BM_BuildFrame);

/// A GL context that rasterises nothing, so that the driver's pixels are not part of the time.
struct Device
{
    Device()
    {
        static int argumentCount = 1;
        static char name[] = "RendererBenchmarks";
        static char* arguments[] = {name, nullptr};
        static QGuiApplication application(argumentCount, arguments);
        SilenceTrace();
        mGL = std::make_unique<Tests::OffscreenGL>(gWidth, gHeight);
        mIsGood = mGL->MakeCurrent() && mContext.Initialise();
        if (mIsGood)
        {
            glEnable(GL_RASTERIZER_DISCARD);
        }
    }

    std::unique_ptr<Tests::OffscreenGL> mGL;
    RenderContext mContext;
    bool mIsGood = false;
};

/// Building and flushing a frame.
void BM_Frame(benchmark::State& state)
{
    Device device;
    if (!device.mIsGood)
    {
        state.SkipWithError("no OpenGL");
        return;
    }
    Chart chart(device.mContext);
    for (auto _ : state)
    {
        device.mContext.BeginFrame();
        chart.DrawFrame();
        device.mContext.EndFrame();
    }
    glFinish();
}
BENCHMARK(BM_Frame);

/// The limit of the one before: the same uploads and draw calls from a frame that was built once, with GL's functions.
void BM_FrameLimit(benchmark::State& state)
{
    Device device;
    if (!device.mIsGood)
    {
        state.SkipWithError("no OpenGL");
        return;
    }
    struct Call
    {
        GLuint mVertexArray = 0;
        std::array<GLuint, 3> mBuffers{};
        std::vector<float> mPositions;
        std::vector<float> mColours;
        std::vector<std::uint32_t> mIndices;
    };
    std::vector<Call> calls;
    // The last are the glyphs of twenty texts; their coordinates would add a third of their bytes.
    for (const int rectCount : {1, gBarCount * 2, gBarCount * 2, 5, 20, 20 * 8})
    {
        Call& call = calls.emplace_back();
        call.mPositions.resize(static_cast<std::size_t>(rectCount) * 12);
        call.mColours.resize(static_cast<std::size_t>(rectCount) * 16);
        call.mIndices.resize(static_cast<std::size_t>(rectCount) * 6);
        glGenVertexArrays(1, &call.mVertexArray);
        glGenBuffers(3, call.mBuffers.data());
        glBindVertexArray(call.mVertexArray);
        for (GLuint attribute = 0; attribute < 2; ++attribute)
        {
            glBindBuffer(GL_ARRAY_BUFFER, call.mBuffers[attribute]);
            glEnableVertexAttribArray(attribute);
            glVertexAttribPointer(attribute, attribute == 0 ? 3 : 4, GL_FLOAT, GL_FALSE, 0, nullptr);
        }
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, call.mBuffers[2]);
    }
    const ShaderProgram* const program =
        device.mContext.GetProgram("Renderer/Shaders/Bar_vs.cg", "Renderer/Shaders/Bar_ps.cg");
    const auto send = [](GLenum target, GLuint buffer, const auto& data) {
        glBindBuffer(target, buffer);
        glBufferData(target, static_cast<GLsizeiptr>(data.size() * sizeof(data[0])), data.data(), GL_STATIC_DRAW);
    };
    for (auto _ : state)
    {
        glUseProgram(program->mHandle);
        for (const Call& call : calls)
        {
            glBindVertexArray(call.mVertexArray);
            send(GL_ARRAY_BUFFER, call.mBuffers[0], call.mPositions);
            send(GL_ARRAY_BUFFER, call.mBuffers[1], call.mColours);
            send(GL_ELEMENT_ARRAY_BUFFER, call.mBuffers[2], call.mIndices);
            glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(call.mIndices.size()), GL_UNSIGNED_INT, nullptr);
        }
    }
    glFinish();
}
BENCHMARK(BM_FrameLimit);

/// The first drawing of glyphs at size 16: outline, place, masks. `isOnGPU` is what it was done on.
void BM_FirstGlyphs(benchmark::State& state)
{
    Device device;
    if (!device.mIsGood)
    {
        state.SkipWithError("no OpenGL");
        return;
    }
    constexpr std::uint32_t cFirst = '!';
    constexpr std::uint32_t cLast = '~';
    FontRenderer& renderer = device.mContext.GetFonts().GetRenderer();
    const FaceRequest face{"DejaVu Sans", FaceRequest::cRegular, false};
    for (auto _ : state)
    {
        state.PauseTiming();
        Font font(face, gOpenFace(face));
        state.ResumeTiming();
        for (std::uint32_t codePoint = cFirst; codePoint <= cLast; ++codePoint)
        {
            benchmark::DoNotOptimize(renderer.Prepare(font.GetGlyphInstance(codePoint, 16)));
        }
        glFinish();
    }
    state.counters["isOnGPU"] = renderer.UsesGPU() ? 1 : 0;
    state.SetItemsProcessed(state.iterations() * (cLast - cFirst + 1));
}
// Few enough for the pages of one atlas.
BENCHMARK(BM_FirstGlyphs)->Iterations(100);

void BM_MeasureText(benchmark::State& state)
{
    const FaceRequest face{"DejaVu Sans", FaceRequest::cRegular, false};
    Font font(face, gOpenFace(face));
    const std::string text = "std::vector<std::pair<int, std::string>>::emplace_back";
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(font.MeasureText(text, 12));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_MeasureText);

/// The limit of the one before: a sum over a table by code point.
void BM_MeasureTextLimit(benchmark::State& state)
{
    const std::string text = "std::vector<std::pair<int, std::string>>::emplace_back";
    std::array<float, 128> advances{};
    advances.fill(7.5f);
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(advances);
        float width = 0.0f;
        for (const char character : text)
        {
            width += advances[static_cast<unsigned char>(character) & 0x7F];
        }
        benchmark::DoNotOptimize(width);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_MeasureTextLimit);
}
