#include "Renderer/FontManager.h"
#include "Renderer/Material.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"

#include "Utility/Trace.h"
#include "tests/support/OffscreenGL.h"

#include <GL/glew.h>

#include <QtGui/QGuiApplication>

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <memory>
#include <span>
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

    void DrawFrame()
    {
        BuildFrame();
        mRenderer.Flush();
    }

    /// Two levels of detail that fade into each other, with the frame of the selection and a grid around them.
    void BuildFrame()
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
    }

    PrimitiveRenderer mRenderer;
    PrimitiveList mContents{10000};
    PrimitiveList mAxis{100};
};

/// Of DejaVu Sans.
std::string FindFaceFile()
{
    FcPattern* const pattern = FcNameParse(reinterpret_cast<const FcChar8*>("DejaVu Sans"));
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result{};
    FcPattern* const match = FcFontMatch(nullptr, pattern, &result);
    FcChar8* path = nullptr;
    FcPatternGetString(match, FC_FILE, 0, &path);
    const std::string file = reinterpret_cast<const char*>(path);
    FcPatternDestroy(match);
    FcPatternDestroy(pattern);
    return file;
}

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

/// The limit of the one before: the same bytes sent and the same draw calls made, from a frame that was built once,
/// with GL's functions alone and no state changed.
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
        GLuint mProgram = 0;
        GLuint mVertexArray = 0;
        std::vector<std::vector<float>> mStreams;
        std::vector<std::uint32_t> mIndices;
        std::vector<GLuint> mBuffers;
    };
    std::vector<Call> calls;
    Chart chart(device.mContext);
    // Leaves the programs with their uniforms.
    chart.DrawFrame();
    chart.BuildFrame();
    for (const Batch* const batch : chart.mRenderer.GetDrawOrder())
    {
        for (const Batch::Buffer& buffer : std::span{batch->mBuffers}.first(batch->mCurrent + 1))
        {
            const Geometry& geometry = *buffer.mGeometry;
            Call& call = calls.emplace_back();
            call.mProgram = batch->mKey.mMaterial->GetProgram()->mHandle;
            call.mIndices.assign(geometry.GetIndices().begin(), geometry.GetIndices().end());
            call.mBuffers.resize(geometry.GetStreams().size() + 1);
            glGenBuffers(static_cast<GLsizei>(call.mBuffers.size()), call.mBuffers.data());
            glGenVertexArrays(1, &call.mVertexArray);
            glBindVertexArray(call.mVertexArray);
            for (const VertexStream& stream : geometry.GetStreams())
            {
                const auto attribute = static_cast<GLuint>(call.mStreams.size());
                const auto size = static_cast<std::ptrdiff_t>(stream.mCount * stream.mComponents);
                call.mStreams.emplace_back(stream.mData.begin(), stream.mData.begin() + size);
                glBindBuffer(GL_ARRAY_BUFFER, call.mBuffers[attribute]);
                glEnableVertexAttribArray(attribute);
                glVertexAttribPointer(
                    attribute, static_cast<GLint>(stream.mComponents), GL_FLOAT, GL_FALSE, 0, nullptr);
            }
            glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, call.mBuffers.back());
        }
    }
    const auto send = [](GLenum target, GLuint buffer, const auto& data) {
        glBindBuffer(target, buffer);
        glBufferData(target, static_cast<GLsizeiptr>(data.size() * sizeof(data[0])), data.data(), GL_STATIC_DRAW);
    };
    for (auto _ : state)
    {
        for (const Call& call : calls)
        {
            glUseProgram(call.mProgram);
            glBindVertexArray(call.mVertexArray);
            for (std::size_t i = 0; i < call.mStreams.size(); ++i)
            {
                send(GL_ARRAY_BUFFER, call.mBuffers[i], call.mStreams[i]);
            }
            send(GL_ELEMENT_ARRAY_BUFFER, call.mBuffers.back(), call.mIndices);
            glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(call.mIndices.size()), GL_UNSIGNED_INT, nullptr);
        }
    }
    glFinish();
    state.counters["draws"] = static_cast<double>(calls.size());
    glBindVertexArray(0);
    chart.mRenderer.Flush();
}
BENCHMARK(BM_FrameLimit);

constexpr std::uint32_t cFirstGlyph = '!';
constexpr std::uint32_t cLastGlyph = '~';
constexpr std::int32_t cGlyphSize = 16;

/// The first drawing of glyphs at size 16: outline, place, masks. `isOnGPU` is what it was done on.
void BM_FirstGlyphs(benchmark::State& state)
{
    Device device;
    if (!device.mIsGood)
    {
        state.SkipWithError("no OpenGL");
        return;
    }
    FontRenderer& renderer = device.mContext.GetFonts().GetRenderer();
    const FaceRequest face{"DejaVu Sans", FaceRequest::cRegular, false};
    for (auto _ : state)
    {
        state.PauseTiming();
        Font font(face, gOpenFace(face));
        state.ResumeTiming();
        for (std::uint32_t codePoint = cFirstGlyph; codePoint <= cLastGlyph; ++codePoint)
        {
            benchmark::DoNotOptimize(renderer.Prepare(font.GetGlyphInstance(codePoint, cGlyphSize)));
        }
        glFinish();
    }
    state.counters["isOnGPU"] = renderer.UsesGPU() ? 1 : 0;
    state.SetItemsProcessed(state.iterations() * (cLastGlyph - cFirstGlyph + 1));
}
// Few enough for the pages of one atlas.
BENCHMARK(BM_FirstGlyphs)->Iterations(100);

/// The limit of the one before: what the library of the outlines does for the same glyphs, unhinted and in grey, and
/// each sent to a texture.
void BM_FirstGlyphsLimit(benchmark::State& state)
{
    Device device;
    FT_Library library = nullptr;
    FT_Face face = nullptr;
    if (!device.mIsGood || FT_Init_FreeType(&library) != 0 ||
        FT_New_Face(library, FindFaceFile().c_str(), 0, &face) != 0)
    {
        state.SkipWithError("no OpenGL or no typeface");
        return;
    }
    // The em square of a line that is 16 pixels high.
    const auto em = static_cast<double>(face->units_per_EM) / (face->ascender - face->descender) * cGlyphSize;
    FT_Set_Char_Size(face, 0, std::lround(em * 64.0), 72, 72);
    Texture& texture = device.mContext.CreateTexture(2048, 2048, ETextureFormat::R8);
    for (auto _ : state)
    {
        for (std::uint32_t codePoint = cFirstGlyph; codePoint <= cLastGlyph; ++codePoint)
        {
            FT_Load_Char(face, codePoint, FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP);
            FT_Render_Glyph(face->glyph, FT_RENDER_MODE_NORMAL);
            const FT_Bitmap& bitmap = face->glyph->bitmap;
            const auto size = static_cast<std::size_t>(bitmap.pitch) * bitmap.rows;
            // Rows have no padding in grey.
            texture.SetSubImage(std::as_bytes(std::span{bitmap.buffer, size}),
                static_cast<std::int32_t>(codePoint) * 16, 0, bitmap.pitch, static_cast<std::int32_t>(bitmap.rows));
        }
        glFinish();
    }
    FT_Done_Face(face);
    FT_Done_FreeType(library);
    state.SetItemsProcessed(state.iterations() * (cLastGlyph - cFirstGlyph + 1));
}
BENCHMARK(BM_FirstGlyphsLimit);

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
