#pragma once

#include "Renderer/Shader.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace Renderer
{
struct EmbeddedResource;
class RenderContext;

enum class EShaderStage : std::uint8_t
{
    Vertex = 0,
    Fragment = 1,
    Compute = 2
};

/// Compiles and links, and keeps what came of it to the end of its RenderContext. What fails is logged in one line, and
/// its message stays with the caller as well. With a GL context current.
class ShaderManager
{
public:
    ShaderManager() = default;
    ShaderManager(const ShaderManager&) = delete;
    ShaderManager& operator=(const ShaderManager&) = delete;

    /// Compiles for the version of the context, whatever the source says. Null with `error` filled when it fails. A
    /// compute stage needs OpenGL 4.3.
    Shader* CreateShader(
        const EmbeddedResource& resource, EShaderStage stage, const RenderContext& context, std::string& error);

    /// Null with `error` filled when it fails.
    ShaderProgram* CreateProgram(const Shader& vertex, const Shader& fragment, std::string& error);
    ShaderProgram* CreateProgram(const Shader& compute, std::string& error);

    /// The GL objects are gone or go now, see RenderContext; what stays behind has the name 0.
    void ReleaseGLObjects(bool areAlive);

private:
    ShaderProgram* Link(
        std::initializer_list<const Shader*> stages, const std::string& description, std::string& error);

    std::vector<std::unique_ptr<Shader>> mShaders;
    std::vector<std::unique_ptr<ShaderProgram>> mPrograms;
};
}
