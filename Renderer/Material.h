#pragma once

#include "Renderer/Matrix4.h"
#include "Renderer/Texture.h"
#include "Renderer/Vectors.h"

#include <cstdint>
#include <map>
#include <string_view>

namespace Renderer
{
struct ShaderProgram;

/// A program with the values of its uniforms and the render states to draw with. Made and kept by a RenderContext. A
/// material without a program, which is what remains when a shader does not compile, takes values and draws nothing.
class Material
{
public:
    explicit Material(const ShaderProgram* program) : mProgram(program) {}
    Material(const Material&) = delete;
    Material& operator=(const Material&) = delete;

    // A value for the uniform of that name, in place of an earlier one. A name that the program does not use is passed
    // over: compilers leave out what has no effect.
    void SetFloat(float value, std::string_view name);
    void SetVector3(const Vector3& value, std::string_view name);
    void SetVector4(const std::array<float, 4>& value, std::string_view name);
    void SetMatrix(const Matrix4& value, std::string_view name);
    /// The same for a location of the program; -1 is one that it does not use.
    void SetMatrix(const Matrix4& value, std::int32_t location);
    void SetSampler(const Sampler& sampler, std::string_view name);

    /// Whether the program is there to be used.
    bool CanDraw() const;
    /// Makes GL draw with it: program, values, and each of the three states on or off.
    void Apply() const;
    /// Switches off the states that it asks for.
    void Unapply() const;

    const ShaderProgram* GetProgram() const { return mProgram; }

    bool mBlend = false;
    /// Drops what is fully transparent.
    bool mAlphaTest = false;
    bool mDepthTest = true;

private:
    const ShaderProgram* mProgram;
    // By location.
    std::map<std::int32_t, Sampler> mTextures;
    std::map<std::int32_t, float> mFloats;
    std::map<std::int32_t, Vector3> mVectors3;
    std::map<std::int32_t, std::array<float, 4>> mVectors4;
    std::map<std::int32_t, Matrix4> mMatrices;
};
}
