#include "Renderer/PrimitiveRenderer.h"

#include "Renderer/FontManager.h"
#include "Renderer/Material.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/RenderContext.h"
#include "Renderer/Scissor.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace Renderer
{
namespace
{
std::int32_t ToPixels(float size)
{
    return size >= 1.0f ? static_cast<std::int32_t>(std::min(size, static_cast<float>(Font::cLargestSize))) : 0;
}
}

PrimitiveRenderer::PrimitiveRenderer(RenderContext& context, float dpiScale, Font* font)
    : mContext(context),
      mBatches(context),
      mSolidMaterial(CreateMaterial(GetProgram("Bar"))),
      mHatchMaterial(CreateMaterial(GetProgram("HatchPattern"))),
      mFontProgram(GetProgram("font")),
      mDashedProgram(GetProgram("DashedLine")),
      mShadowMaterial(CreateMaterial(GetProgram("LineShadow"))),
      mFont(font != nullptr ? font : &context.GetFonts().GetDefaultFont()),
      mFontRenderer(context.GetFonts().GetRenderer())
{
    mHatchMaterial.SetFloat(dpiScale * 15.0f, "inDensity");
    mHatchMaterial.SetFloat(dpiScale * 5.0f, "inWidth");
    mHatchMaterial.SetFloat(dpiScale * 2.0f, "inBorderWidth");
    mShadowMaterial.SetFloat(dpiScale * 5.0f, "inEdgeWidth");
    if (mFontRenderer.GetNumPages() > 0)
    {
        GetFontMaterial(0);
    }
}

PrimitiveRenderer::~PrimitiveRenderer()
{
    for (PrimitiveList* list : mLists)
    {
        list->mRenderer = nullptr;
    }
}

const ShaderProgram* PrimitiveRenderer::GetProgram(const std::string& name)
{
    const std::string prefix = "Renderer/Shaders/" + name;
    return mContext.GetProgram(prefix + "_vs.cg", prefix + "_ps.cg");
}

Material& PrimitiveRenderer::CreateMaterial(const ShaderProgram* program)
{
    Material& material = mContext.CreateMaterial(program);
    material.mBlend = true;
    return material;
}

Material& PrimitiveRenderer::GetDashedMaterial(float dashLength)
{
    // What is no number would be found again by no look-up.
    dashLength = std::isnan(dashLength) ? 0.0f : dashLength;
    Material*& material = mDashedMaterials[dashLength];
    if (material == nullptr)
    {
        material = &CreateMaterial(mDashedProgram);
        material->SetFloat(dashLength, "inDashLength");
    }
    return *material;
}

Material& PrimitiveRenderer::GetFontMaterial(std::uint32_t page)
{
    while (mFontMaterials.size() <= page)
    {
        const auto next = static_cast<std::uint32_t>(mFontMaterials.size());
        Material& material = CreateMaterial(mFontProgram);
        material.mAlphaTest = true;
        material.mDepthTest = false;
        SamplerSettings settings;
        settings.mNearest = true;
        settings.mClampToEdge = false;
        material.SetSampler(mContext.CreateSampler(mFontRenderer.GetPage(next), settings), "fontSampler");
        mFontMaterials.push_back(&material);
    }
    return *mFontMaterials[page];
}

void PrimitiveRenderer::SetViewportSize(std::int32_t width, std::int32_t height, float pixelRatio)
{
    mCamera.Set(0.0f, static_cast<float>(width), 0.0f, static_cast<float>(height), 0.0f, 1000.0f);
    mViewportHeight = height;
    mPixelRatio = pixelRatio;
}

void PrimitiveRenderer::BeginList(PrimitiveList& list, const Rectangle& clip, Vector2 origin)
{
    if (list.mRenderer != this)
    {
        if (list.mRenderer != nullptr)
        {
            list.mRenderer->RemoveList(list);
        }
        list.mRenderer = this;
        mLists.push_back(&list);
    }
    list.mClipRect = clip;
    list.mOrigin = origin;
    mCurrentList = &list;
}

void PrimitiveRenderer::RemoveList(PrimitiveList& list)
{
    mBatches.Remove(list);
    std::erase(mLists, &list);
    list.mRenderer = nullptr;
    if (mCurrentList == &list)
    {
        mCurrentList = nullptr;
    }
}

Geometry& PrimitiveRenderer::GetBatch(
    Material& material, std::uint32_t layer, VertexMask mask, std::uint32_t vertexCount)
{
    assert(mCurrentList != nullptr && "BeginList comes first");
    return mBatches.GetGeometry({&material, static_cast<std::int32_t>(layer), mCurrentList}, mask, vertexCount,
        mCurrentList->GetVertexBudget());
}

void PrimitiveRenderer::FillRect(Vector2 p0, Vector2 p1, Colour colour, std::uint32_t layer)
{
    gAppendQuad(GetBatch(mSolidMaterial, layer, gColouredVertices, 4), static_cast<float>(layer),
        gMakeRectangle(p0, p1), colour);
}

void PrimitiveRenderer::FrameRect(Vector2 p0, Vector2 p1, float thickness, Colour colour, std::uint32_t layer)
{
    for (const Line& line : gMakeFrame(p0, p1, thickness))
    {
        DrawLine(line.mP0, line.mP1, thickness, colour, layer);
    }
}

void PrimitiveRenderer::DrawLine(Vector2 p0, Vector2 p1, float thickness, Colour colour, std::uint32_t layer)
{
    if (const std::optional<Quad> corners = gMakeLine(p0, p1, thickness))
    {
        gAppendQuad(GetBatch(mSolidMaterial, layer, gColouredVertices, 4), static_cast<float>(layer), *corners, colour);
    }
}

void PrimitiveRenderer::FillTriangle(const std::array<Vector2, 3>& corners, Colour colour, std::uint32_t layer)
{
    gAppendTriangle(GetBatch(mSolidMaterial, layer, gColouredVertices, 3), static_cast<float>(layer), corners, colour);
}

void PrimitiveRenderer::FillHatchedRect(Vector2 p0, Vector2 p1, Colour colour, std::uint32_t layer)
{
    const Quad corners = gMakeRectangle(p0, p1);
    gAppendQuad(
        GetBatch(mHatchMaterial, layer, gTexturedVertices, 4), static_cast<float>(layer), corners, corners, colour);
}

void PrimitiveRenderer::DrawShadowLine(Vector2 p0, Vector2 p1, float width, Colour colour, std::uint32_t layer)
{
    if (const std::optional<Quad> corners = gMakeLine(p0, p1, width))
    {
        gAppendShadowQuad(GetBatch(mShadowMaterial, layer, gDoublyTexturedVertices, 4), static_cast<float>(layer),
            *corners, width, colour);
    }
}

void PrimitiveRenderer::DrawPolyline(
    std::span<const Vector2> points, Vector2 origin, float width, Colour colour, bool isClosed, std::uint32_t layer)
{
    assert(points.size() < std::numeric_limits<std::uint32_t>::max() / 4);
    const auto vertexCount = static_cast<std::uint32_t>(points.size() * 4);
    gAppendPolyline(GetBatch(mShadowMaterial, layer, gDoublyTexturedVertices, vertexCount), static_cast<float>(layer),
        points, origin, width, isClosed, colour);
}

void PrimitiveRenderer::DrawDashedLine(
    Vector2 p0, Vector2 p1, float thickness, float dashLength, float dashOffset, Colour colour, std::uint32_t layer)
{
    if (const std::optional<Quad> corners = gMakeLine(p0, p1, thickness))
    {
        gAppendQuad(GetBatch(GetDashedMaterial(dashLength), layer, gTexturedVertices, 4), static_cast<float>(layer),
            *corners, gMakeRectangle({0.0f, dashOffset}, {1.0f, gLength(p1 - p0) + dashOffset}), colour);
    }
}

float PrimitiveRenderer::DrawText(Vector2 position, float size, Colour colour, std::string_view text,
    std::uint32_t layer, const TextClip& clip, bool keepsFirstBearing)
{
    struct Target final : TextTarget
    {
        Target(PrimitiveRenderer& renderer, std::uint32_t layer, std::size_t textSize)
            : mRenderer(renderer),
              mLayer(layer),
              mVertexCount(static_cast<std::uint32_t>(textSize * 4))
        {}

        Geometry& GetGeometry(std::uint32_t page) override
        {
            return mRenderer.GetBatch(mRenderer.GetFontMaterial(page), mLayer, gTexturedVertices, mVertexCount);
        }

        PrimitiveRenderer& mRenderer;
        std::uint32_t mLayer;
        /// No code point has less than a byte.
        std::uint32_t mVertexCount;
    };
    assert(text.size() < std::numeric_limits<std::uint32_t>::max() / 4);
    Target target(*this, layer, text.size());
    return mFontRenderer.DrawText(*mFont, target, text, position, static_cast<float>(layer),
        ToPixels(size * mPixelRatio), colour, clip, keepsFirstBearing, mPixelRatio);
}

float PrimitiveRenderer::MeasureText(std::string_view text, float size)
{
    return mFont->MeasureText(text, ToPixels(size * mPixelRatio)) / mPixelRatio;
}

Font& PrimitiveRenderer::SetFont(std::string_view name, std::uint8_t styleFlags)
{
    Font& previous = *mFont;
    mFont = &mContext.GetFonts().GetFont(name, styleFlags);
    return previous;
}

void PrimitiveRenderer::Flush()
{
    mCurrentList = nullptr;
    if (mContext.IsInitialised())
    {
        for (const Batch* batch : mBatches.GetDrawOrder())
        {
            Draw(*batch);
        }
        Use(nullptr);
        mContext.SetScissor(std::nullopt);
    }
    mBatches.Clear();
}

void PrimitiveRenderer::Use(Material* material)
{
    if (material == mUsedMaterial)
    {
        return;
    }
    if (mUsedMaterial != nullptr)
    {
        mUsedMaterial->Unapply();
    }
    mUsedMaterial = material;
    if (material != nullptr)
    {
        mContext.Apply(*material, gIdentityMatrix, mCamera);
    }
}

void PrimitiveRenderer::Draw(const Batch& batch)
{
    const std::optional<ScissorBox> scissor =
        gGetScissor(batch.mKey.mList->GetClipRect(), mViewportHeight, mPixelRatio);
    if (!batch.mKey.mMaterial->CanDraw() || (scissor && scissor->IsEmpty()))
    {
        return;
    }
    mContext.SetScissor(scissor);
    Use(batch.mKey.mMaterial);
    for (std::size_t index = 0; index <= batch.mCurrent; ++index)
    {
        const Batch::Buffer& buffer = batch.mBuffers[index];
        if (!buffer.mGeometry->IsEmpty())
        {
            mContext.Upload(*buffer.mGeometry);
            mContext.Draw(*buffer.mGeometry, buffer.mVertexArray.Get());
        }
    }
}
}
