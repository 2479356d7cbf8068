#pragma once

#include "Renderer/BatchTable.h"
#include "Renderer/FontRenderer.h"
#include "Renderer/PrimitiveGeometry.h"
#include "Renderer/RenderCamera.h"
#include "Renderer/Vectors.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Renderer
{
class Material;
class PrimitiveList;
class RenderContext;
struct ShaderProgram;

/// Turns what the controls of one widget draw anew in each frame into few draw calls: primitives of the same material,
/// layer and list are collected, and Flush draws them back to front. Owned by its widget; the thread of the GL context.
/// Where a shader could not be made, what needs it is not drawn, and everything else is.
///
/// Operations that draw take points of the surface and belong to the list that BeginList named; controls use those of
/// their PrimitiveList.
class PrimitiveRenderer
{
public:
    /// With a GL context current. Without one it collects as ever and draws nothing. `context` must outlive it.
    /// `dpiScale` is 1 at 96 dots an inch. Text is written in `font`, or in the default one of the context.
    PrimitiveRenderer(RenderContext& context, float dpiScale, Font* font = nullptr);
    ~PrimitiveRenderer();
    PrimitiveRenderer(const PrimitiveRenderer&) = delete;
    PrimitiveRenderer& operator=(const PrimitiveRenderer&) = delete;

    /// In pixels of the surface, in which all is drawn, each of which is `pixelRatio` pixels of the screen wide and
    /// high: clipping and text are made for those. Needed once before the first flush.
    void SetViewportSize(std::int32_t width, std::int32_t height, float pixelRatio = 1.0f);
    /// Makes a list current for what is drawn next. The clip rectangle is one of the surface; see gGetScissor. `origin`
    /// is added to every point.
    void BeginList(PrimitiveList& list, const Rectangle& clip, Vector2 origin);
    bool IsCurrent(const PrimitiveList& list) const { return mCurrentList == &list; }
    /// Forgets a list and what it drew since the last flush.
    void RemoveList(PrimitiveList& list);

    void FillRect(Vector2 p0, Vector2 p1, Colour colour, std::uint32_t layer);
    void FrameRect(Vector2 p0, Vector2 p1, float thickness, Colour colour, std::uint32_t layer);
    void DrawLine(Vector2 p0, Vector2 p1, float thickness, Colour colour, std::uint32_t layer);
    void FillTriangle(const std::array<Vector2, 3>& corners, Colour colour, std::uint32_t layer);
    /// Diagonal stripes that are fixed to the surface, so that they go on from one rectangle to the next.
    void FillHatchedRect(Vector2 p0, Vector2 p1, Colour colour, std::uint32_t layer);
    void DrawShadowLine(Vector2 p0, Vector2 p1, float width, Colour colour, std::uint32_t layer);
    void DrawPolyline(std::span<const Vector2> points, Vector2 origin, float width, Colour colour, bool isClosed,
        std::uint32_t layer);
    void DrawDashedLine(Vector2 p0, Vector2 p1, float thickness, float dashLength, float dashOffset, Colour colour,
        std::uint32_t layer);

    /// A line of UTF-8 text with its upper left corner at `position`; see FontRenderer::DrawText. Returns where the pen
    /// is behind it.
    float DrawText(Vector2 position, float size, Colour colour, std::string_view text, std::uint32_t layer,
        const TextClip& clip, bool keepsFirstBearing);
    /// In pixels, for the size of a line.
    float MeasureText(std::string_view text, float size);
    Font& GetFont() { return *mFont; }
    /// From now on text is written in that font; see FontManager::GetFont. Returns the one before.
    Font& SetFont(std::string_view name, std::uint8_t styleFlags);

    /// Room for so many vertices of the current list, to be filled at once.
    Geometry& GetBatch(Material& material, std::uint32_t layer, VertexMask mask, std::uint32_t vertexCount);

    /// What the next flush draws, in its order; valid until anything else is called.
    std::span<Batch* const> GetDrawOrder() { return mBatches.GetDrawOrder(); }
    /// Draws all that was collected, and empties it: once a frame, with the context current and its viewport set.
    void Flush();

private:
    /// Of the two embedded sources of that name.
    const ShaderProgram* GetProgram(const std::string& name);
    Material& CreateMaterial(const ShaderProgram* program);
    Material& GetDashedMaterial(float dashLength);
    Material& GetFontMaterial(std::uint32_t page);
    /// Null for none. What one batch draws with stays for the next: most frames have few materials, and to a driver a
    /// change costs as much as a draw call.
    void Use(Material* material);
    void Draw(const Batch& batch);

    RenderContext& mContext;
    BatchTable mBatches;
    Material& mSolidMaterial;
    Material& mHatchMaterial;
    const ShaderProgram* mFontProgram;
    const ShaderProgram* mDashedProgram;
    Material& mShadowMaterial;
    std::unordered_map<float, Material*> mDashedMaterials;
    Font* mFont;
    FontRenderer& mFontRenderer;
    /// By page of the atlas.
    std::vector<Material*> mFontMaterials;
    OrthoRenderCamera mCamera;
    std::int32_t mViewportHeight = 0;
    float mPixelRatio = 1.0f;
    PrimitiveList* mCurrentList = nullptr;
    /// During a flush only.
    Material* mUsedMaterial = nullptr;
    /// Those that know this renderer.
    std::vector<PrimitiveList*> mLists;
};
}
