#include "Renderer/Material.h"

#include "Renderer/Shader.h"

#include <GL/glew.h>

#include <utility>

namespace Renderer
{
namespace
{
template <typename Value>
void Store(
    std::map<std::int32_t, Value>& values, const ShaderProgram* program, const Value& value, std::string_view name)
{
    if (const ShaderProgram::Input* uniform = program == nullptr ? nullptr : program->FindUniform(name))
    {
        values.insert_or_assign(uniform->mLocation, value);
    }
}

void Switch(GLenum state, bool isOn)
{
    isOn ? glEnable(state) : glDisable(state);
}
}

void Material::SetFloat(float value, std::string_view name)
{
    Store(mFloats, mProgram, value, name);
}

void Material::SetVector3(const Vector3& value, std::string_view name)
{
    Store(mVectors3, mProgram, value, name);
}

void Material::SetVector4(const std::array<float, 4>& value, std::string_view name)
{
    Store(mVectors4, mProgram, value, name);
}

void Material::SetMatrix(const Matrix4& value, std::string_view name)
{
    Store(mMatrices, mProgram, value, name);
}

void Material::SetMatrix(const Matrix4& value, std::int32_t location)
{
    if (location >= 0)
    {
        mMatrices.insert_or_assign(location, value);
    }
}

void Material::SetSampler(const Sampler& sampler, std::string_view name)
{
    Store(mTextures, mProgram, sampler, name);
}

bool Material::CanDraw() const
{
    return mProgram != nullptr && mProgram->mHandle != 0;
}

void Material::Apply() const
{
    glUseProgram(mProgram->mHandle);
    for (const auto& [location, value] : mFloats)
    {
        glUniform1f(location, value);
    }
    for (const auto& [location, value] : mVectors3)
    {
        glUniform3f(location, value.mX, value.mY, value.mZ);
    }
    for (const auto& [location, value] : mVectors4)
    {
        glUniform4f(location, value[0], value[1], value[2], value[3]);
    }
    for (const auto& [location, value] : mMatrices)
    {
        glUniformMatrix4fv(location, 1, GL_FALSE, value.mElements.data());
    }
    GLuint unit = 0;
    for (const auto& [location, sampler] : mTextures)
    {
        glUniform1i(location, static_cast<GLint>(unit));
        glActiveTexture(GL_TEXTURE0 + unit);
        glBindTexture(GL_TEXTURE_2D, sampler.mTexture->GetHandle());
        glBindSampler(unit, sampler.mHandle);
        ++unit;
    }

    Switch(GL_BLEND, mBlend);
    if (mBlend)
    {
        // An opaque surface stays opaque, so that nothing shines through it where it is put on a window or in a
        // picture.
        glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    }
    Switch(GL_ALPHA_TEST, mAlphaTest);
    if (mAlphaTest)
    {
        glAlphaFunc(GL_GREATER, 0.0f);
    }
    Switch(GL_DEPTH_TEST, mDepthTest);
}

void Material::Unapply() const
{
    for (const auto& [state, isOn] :
        {std::pair{GL_BLEND, mBlend}, std::pair{GL_ALPHA_TEST, mAlphaTest}, std::pair{GL_DEPTH_TEST, mDepthTest}})
    {
        if (isOn)
        {
            glDisable(static_cast<GLenum>(state));
        }
    }
    // A sampler that stays behind would filter what others draw with that unit.
    for (std::size_t unit = 0; unit < mTextures.size(); ++unit)
    {
        glBindSampler(static_cast<GLuint>(unit), 0);
    }
    glActiveTexture(GL_TEXTURE0);
    glUseProgram(0);
}
}
