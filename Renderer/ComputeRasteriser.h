#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Renderer
{
class GlyphInstance;
class GlyphOutline;
class RenderContext;
class Texture;
struct ShaderProgram;

/// Rasterises glyphs by a compute shader, one invocation a texel, straight into a page of the atlas. An outline is sent
/// to the GPU once for all sizes. With the GL context current, of OpenGL 4.3 or later.
class ComputeRasteriser
{
public:
    /// What the blocks of the shader hold.
    static constexpr std::uint32_t cMostRows = 100;
    static constexpr std::size_t cMostSegments = 1000;

    /// Null, with a line in the log, when the program cannot be made.
    static std::unique_ptr<ComputeRasteriser> sCreate(RenderContext& context);

    static bool sFits(const GlyphInstance& instance);
    /// Of a glyph that fits and has its place in that page. Later fetches see what it stores.
    void Rasterise(const GlyphInstance& instance, const Texture& page);

    /// See RenderContext; it must not be used afterwards.
    void ReleaseGLObjects(bool areAlive);

private:
    /// A uniform block of the program: where the shader's compiler put its members.
    struct Block
    {
        std::uint32_t mIndex = 0;
        std::vector<std::byte> mData;
        std::vector<std::int32_t> mOffsets;

        template <class Value>
        void Put(std::size_t member, const Value& value, std::size_t element = 0);
    };

    explicit ComputeRasteriser(const ShaderProgram& program) : mProgram{program} {}
    bool ReadBlock(const char* name, std::span<const char* const> members, Block& block) const;
    void BindGlyph(const GlyphInstance& instance);
    void BindOutline(const GlyphOutline& outline);

    const ShaderProgram& mProgram;
    Block mGlyphBlock;
    Block mOutlineBlock;
    /// Of the glyph in hand; each is rasterised once.
    std::uint32_t mGlyphBuffer = 0;
    std::unordered_map<const GlyphOutline*, std::uint32_t> mOutlineBuffers;
};
}
