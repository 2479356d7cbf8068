#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Renderer
{
enum class ETextureFormat : std::uint8_t
{
    /// One 16-bit whole number a texel, which a shader reads as such.
    R16UI,
    R8,
    RGB8,
    RGBA8
};

/// A picture in the memory of the GPU. Made and kept by a RenderContext; with one of its GL contexts current. Rows
/// stand one behind the other without padding, from y = 0 on.
class Texture
{
public:
    /// Texels are undefined until they are set.
    Texture(std::int32_t width, std::int32_t height, ETextureFormat format);
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    /// All texels; `data` holds exactly these.
    void SetImage(std::span<const std::byte> data);
    /// Those of a rectangle inside the texture; `data` holds exactly these.
    void SetSubImage(
        std::span<const std::byte> data, std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height);
    /// Reads all texels; `data` has room for exactly these.
    void GetImage(std::span<std::byte> data) const;

    std::int32_t GetWidth() const { return mWidth; }
    std::int32_t GetHeight() const { return mHeight; }
    std::size_t GetBytesPerTexel() const;
    /// 0 once the contexts that shared it are gone.
    std::uint32_t GetHandle() const { return mHandle; }

    /// The GL object is gone or goes now, see RenderContext.
    void ReleaseGLObject(bool isAlive);

private:
    std::int32_t mWidth;
    std::int32_t mHeight;
    ETextureFormat mFormat;
    std::uint32_t mHandle = 0;
};

/// How a shader reads a texture. A value: copies share the GL object, which lives as long as its RenderContext.
struct Sampler
{
    std::uint32_t mHandle = 0;
    const Texture* mTexture = nullptr;
};

struct SamplerSettings
{
    /// The nearest texel instead of a blend of four.
    bool mNearest = false;
    /// Outside the texture: its edge, or else the border colour.
    bool mClampToEdge = true;
    std::array<float, 4> mBorderColour{};
};

/// Makes the GL object.
[[nodiscard]] std::uint32_t gCreateSampler(const SamplerSettings& settings);
}
