#include "Renderer/Texture.h"

#include <GL/glew.h>

#include <cassert>

namespace Renderer
{
namespace
{
struct GLFormat
{
    GLint mInternalFormat;
    GLenum mFormat;
    GLenum mType;
    std::size_t mBytesPerTexel;
};

/// By ETextureFormat.
constexpr GLFormat gFormats[] = {{GL_R16UI, GL_RED_INTEGER, GL_UNSIGNED_SHORT, 2}, {GL_R8, GL_RED, GL_UNSIGNED_BYTE, 1},
    {GL_RGB8, GL_RGB, GL_UNSIGNED_BYTE, 3}, {GL_RGBA8, GL_RGBA, GL_UNSIGNED_BYTE, 4}};

const GLFormat& GetGLFormat(ETextureFormat format)
{
    return gFormats[static_cast<std::size_t>(format)];
}

/// Binds a texture for uploads and reading back, with rows that are not padded, and unbinds it at the end.
class Binding
{
public:
    explicit Binding(GLuint handle)
    {
        glBindTexture(GL_TEXTURE_2D, handle);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
    }
    ~Binding() { glBindTexture(GL_TEXTURE_2D, 0); }
    Binding(const Binding&) = delete;
    Binding& operator=(const Binding&) = delete;
};

/// For assertions.
[[maybe_unused]] std::size_t CountTexels(std::int32_t width, std::int32_t height)
{
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}
}

Texture::Texture(std::int32_t width, std::int32_t height, ETextureFormat format)
    : mWidth(width),
      mHeight(height),
      mFormat(format)
{
    glGenTextures(1, &mHandle);
    const Binding binding(mHandle);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    const GLFormat& gl = GetGLFormat(format);
    glTexImage2D(GL_TEXTURE_2D, 0, gl.mInternalFormat, width, height, 0, gl.mFormat, gl.mType, nullptr);
}

void Texture::SetImage(std::span<const std::byte> data)
{
    SetSubImage(data, 0, 0, mWidth, mHeight);
}

void Texture::SetSubImage(
    std::span<const std::byte> data, std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height)
{
    assert(x >= 0 && y >= 0 && width >= 0 && height >= 0 && x <= mWidth - width && y <= mHeight - height);
    assert(data.size() == CountTexels(width, height) * GetBytesPerTexel());
    const Binding binding(mHandle);
    const GLFormat& gl = GetGLFormat(mFormat);
    glTexSubImage2D(GL_TEXTURE_2D, 0, x, y, width, height, gl.mFormat, gl.mType, data.data());
}

void Texture::GetImage(std::span<std::byte> data) const
{
    assert(data.size() == CountTexels(mWidth, mHeight) * GetBytesPerTexel());
    const Binding binding(mHandle);
    const GLFormat& gl = GetGLFormat(mFormat);
    glGetTexImage(GL_TEXTURE_2D, 0, gl.mFormat, gl.mType, data.data());
}

std::size_t Texture::GetBytesPerTexel() const
{
    return GetGLFormat(mFormat).mBytesPerTexel;
}

void Texture::ReleaseGLObject(bool isAlive)
{
    if (isAlive)
    {
        glDeleteTextures(1, &mHandle);
    }
    mHandle = 0;
}

std::uint32_t gCreateSampler(const SamplerSettings& settings)
{
    GLuint handle = 0;
    glGenSamplers(1, &handle);
    const GLint wrap = settings.mClampToEdge ? GL_CLAMP_TO_EDGE : GL_CLAMP_TO_BORDER;
    glSamplerParameteri(handle, GL_TEXTURE_WRAP_S, wrap);
    glSamplerParameteri(handle, GL_TEXTURE_WRAP_T, wrap);
    glSamplerParameterfv(handle, GL_TEXTURE_BORDER_COLOR, settings.mBorderColour.data());
    const GLint filter = settings.mNearest ? GL_NEAREST : GL_LINEAR;
    glSamplerParameteri(handle, GL_TEXTURE_MIN_FILTER, filter);
    glSamplerParameteri(handle, GL_TEXTURE_MAG_FILTER, filter);
    return handle;
}
}
