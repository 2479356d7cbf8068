#include "Renderer/ComputeRasteriser.h"

#include "Renderer/EmbeddedResources.h"
#include "Renderer/GlyphInstance.h"
#include "Renderer/GlyphOutline.h"
#include "Renderer/RenderContext.h"
#include "Renderer/Texture.h"

#include "Utility/Trace.h"

#include <GL/glew.h>

#include <algorithm>
#include <cassert>
#include <cstring>
#include <string>

namespace Renderer
{
namespace
{
/// Members in the order of their names below.
enum EGlyphMember : std::size_t
{
    TextureOffsetX,
    TextureOffsetY,
    Width,
    Height,
    BorderUnits,
    ScanlineStartIndices
};
constexpr const char* cGlyphMembers[] = {"GlyphData.mTextureOffsetX", "GlyphData.mTextureOffsetY", "GlyphData.mWidth",
    "GlyphData.mHeight", "GlyphData.mBorderUnits", "GlyphData.mScanlineStartIndices"};

enum EOutlineMember : std::size_t
{
    Size,
    Minimum,
    NumSortedOutlines,
    SortedOutlinesP1,
    SortedOutlinesP2
};
constexpr const char* cOutlineMembers[] = {"OutlineData.mSize", "OutlineData.mMinimum",
    "OutlineData.mNumSortedOutlines", "OutlineData.mSortedOutlinesP1", "OutlineData.mSortedOutlinesP2"};

/// Texels that one group of the shader makes, side by side.
constexpr std::uint32_t cGroupWidth = 8;

/// Between elements of an array, in the layout std140.
constexpr std::size_t cArrayStride = 16;

void SendBlock(std::uint32_t& buffer, std::span<const std::byte> data)
{
    if (buffer == 0)
    {
        glGenBuffers(1, &buffer);
    }
    glBindBuffer(GL_UNIFORM_BUFFER, buffer);
    glBufferData(GL_UNIFORM_BUFFER, static_cast<GLsizeiptr>(data.size()), data.data(), GL_DYNAMIC_DRAW);
    glBindBuffer(GL_UNIFORM_BUFFER, 0);
}
}

template <class Value>
void ComputeRasteriser::Block::Put(std::size_t member, const Value& value, std::size_t element)
{
    const std::size_t offset = static_cast<std::size_t>(mOffsets[member]) + element * cArrayStride;
    assert(offset + sizeof(Value) <= mData.size());
    std::memcpy(mData.data() + offset, &value, sizeof(Value));
}

std::unique_ptr<ComputeRasteriser> ComputeRasteriser::sCreate(RenderContext& context)
{
    std::string error;
    ShaderManager& shaders = context.GetShaders();
    const Shader* const shader =
        shaders.CreateShader(EmbeddedResources::sGet().FindResource("Renderer/Shaders/fontrender.compute"),
            EShaderStage::Compute, context, error);
    const ShaderProgram* const program = shader != nullptr ? shaders.CreateProgram(*shader, error) : nullptr;
    if (program == nullptr)
    {
        return nullptr;
    }
    std::unique_ptr<ComputeRasteriser> rasteriser{new ComputeRasteriser{*program}};
    if (!rasteriser->ReadBlock("GlyphData", cGlyphMembers, rasteriser->mGlyphBlock) ||
        !rasteriser->ReadBlock("OutlineData", cOutlineMembers, rasteriser->mOutlineBlock))
    {
        Utility::gTrace("The compute shader for glyphs lacks a uniform block; falling back to CPU rendering");
        return nullptr;
    }
    return rasteriser;
}

bool ComputeRasteriser::ReadBlock(const char* name, std::span<const char* const> members, Block& block) const
{
    const GLuint program = mProgram.mHandle;
    block.mIndex = glGetUniformBlockIndex(program, name);
    if (block.mIndex == GL_INVALID_INDEX)
    {
        return false;
    }
    GLint size = 0;
    glGetActiveUniformBlockiv(program, block.mIndex, GL_UNIFORM_BLOCK_DATA_SIZE, &size);
    block.mData.resize(static_cast<std::size_t>(size));

    const auto count = static_cast<GLsizei>(members.size());
    std::vector<GLuint> indices(members.size(), GL_INVALID_INDEX);
    glGetUniformIndices(program, count, members.data(), indices.data());
    if (std::ranges::find(indices, GL_INVALID_INDEX) != indices.end())
    {
        return false;
    }
    block.mOffsets.resize(members.size());
    glGetActiveUniformsiv(program, count, indices.data(), GL_UNIFORM_OFFSET, block.mOffsets.data());
    glUniformBlockBinding(program, block.mIndex, block.mIndex);
    return true;
}

bool ComputeRasteriser::sFits(const GlyphInstance& instance)
{
    return instance.mHeight <= cMostRows && instance.mOutline->mSortedOutlines.size() <= cMostSegments;
}

void ComputeRasteriser::Rasterise(const GlyphInstance& instance, const Texture& page)
{
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, page.GetHandle());
    glBindImageTexture(0, page.GetHandle(), 0, GL_FALSE, 0, GL_WRITE_ONLY, GL_R16UI);
    glUseProgram(mProgram.mHandle);
    BindGlyph(instance);
    BindOutline(*instance.mOutline);
    glDispatchCompute((instance.mWidth + cGroupWidth - 1) / cGroupWidth, instance.mHeight, 1);
    // The masks are fetched when the frame is flushed; another glyph may be written beside them from the CPU.
    glMemoryBarrier(GL_TEXTURE_FETCH_BARRIER_BIT | GL_TEXTURE_UPDATE_BARRIER_BIT);
    glUseProgram(0);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void ComputeRasteriser::BindGlyph(const GlyphInstance& instance)
{
    mGlyphBlock.Put(TextureOffsetX, static_cast<std::int32_t>(instance.mTextureX));
    mGlyphBlock.Put(TextureOffsetY, static_cast<std::int32_t>(instance.mTextureY));
    mGlyphBlock.Put(Width, static_cast<std::int32_t>(instance.mWidth));
    mGlyphBlock.Put(Height, static_cast<std::int32_t>(instance.mHeight));
    mGlyphBlock.Put(BorderUnits, instance.mBorderUnits);
    for (std::size_t row = 0; row < instance.mScanlineStartIndices.size(); ++row)
    {
        mGlyphBlock.Put(ScanlineStartIndices, instance.mScanlineStartIndices[row], row);
    }
    SendBlock(mGlyphBuffer, mGlyphBlock.mData);
    glBindBufferBase(GL_UNIFORM_BUFFER, mGlyphBlock.mIndex, mGlyphBuffer);
}

void ComputeRasteriser::BindOutline(const GlyphOutline& outline)
{
    std::uint32_t& buffer = mOutlineBuffers[&outline];
    if (buffer == 0)
    {
        const std::vector<LineSegment>& segments = outline.mSortedOutlines;
        mOutlineBlock.Put(Size, outline.mSize);
        mOutlineBlock.Put(Minimum, outline.mMinimum);
        mOutlineBlock.Put(NumSortedOutlines, static_cast<std::int32_t>(segments.size()));
        for (std::size_t i = 0; i < segments.size(); ++i)
        {
            mOutlineBlock.Put(SortedOutlinesP1, segments[i].mP1, i);
            mOutlineBlock.Put(SortedOutlinesP2, segments[i].mP2, i);
        }
        SendBlock(buffer, mOutlineBlock.mData);
    }
    glBindBufferBase(GL_UNIFORM_BUFFER, mOutlineBlock.mIndex, buffer);
}

void ComputeRasteriser::ReleaseGLObjects(bool areAlive)
{
    if (areAlive)
    {
        glDeleteBuffers(1, &mGlyphBuffer);
        for (const auto& [outline, buffer] : mOutlineBuffers)
        {
            glDeleteBuffers(1, &buffer);
        }
    }
    mGlyphBuffer = 0;
    mOutlineBuffers.clear();
}
}
