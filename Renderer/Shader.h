#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Renderer
{
/// A compiled stage. Its GL name is 0 once the contexts that shared it are gone.
struct Shader
{
    /// Of the resource that it was made from.
    std::string mName;
    std::uint32_t mHandle = 0;
};

/// A linked program with the names that it can be fed through.
struct ShaderProgram
{
    struct Input
    {
        std::string mName;
        std::int32_t mLocation = -1;
    };

    /// Null when the program has no such uniform in use.
    const Input* FindUniform(std::string_view name) const
    {
        for (const Input& uniform : mUniforms)
        {
            if (uniform.mName == name)
            {
                return &uniform;
            }
        }
        return nullptr;
    }

    /// 0 once the contexts that shared it are gone.
    std::uint32_t mHandle = 0;
    std::vector<Input> mAttributes;
    /// Those that stand in no block; arrays under their bare name.
    std::vector<Input> mUniforms;
    // Of the matrices, which every draw call sets; -1 when the program does not use one.
    std::int32_t mModelLocation = -1;
    std::int32_t mViewLocation = -1;
    std::int32_t mProjectionLocation = -1;
};
}
