#include "Renderer/ShaderManager.h"

#include "Renderer/EmbeddedResources.h"
#include "Renderer/RenderContext.h"
#include "Renderer/ShaderSource.h"

#include "Utility/Format.h"
#include "Utility/Trace.h"

#include <GL/glew.h>

#include <algorithm>
#include <array>

namespace Renderer
{
namespace
{
GLenum GetGLStage(EShaderStage stage)
{
    switch (stage)
    {
    case EShaderStage::Vertex:
        return GL_VERTEX_SHADER;
    case EShaderStage::Fragment:
        return GL_FRAGMENT_SHADER;
    default:
        return GL_COMPUTE_SHADER;
    }
}

/// The message of the driver without the line feeds at its end. `getParameter` and `getLog` are those of shaders or
/// those of programs.
template <typename GetParameter, typename GetLog>
std::string ReadLog(GLuint object, GetParameter getParameter, GetLog getLog)
{
    GLint size = 0;
    getParameter(object, GL_INFO_LOG_LENGTH, &size);
    std::string log(static_cast<std::size_t>(std::max(size, 0)), '\0');
    GLsizei length = 0;
    if (!log.empty())
    {
        getLog(object, size, &length, log.data());
    }
    log.resize(static_cast<std::size_t>(length));
    return log.erase(log.find_last_not_of("\r\n \t") + 1);
}

/// 0 with `error` filled when it fails.
GLuint Compile(const std::string& source, GLenum stage, std::string& error)
{
    const GLuint handle = glCreateShader(stage);
    if (handle == 0)
    {
        error = Utility::gFormat("Failed to create shader of type %d: %d", stage, glGetError());
        return 0;
    }
    const char* const text = source.c_str();
    glShaderSource(handle, 1, &text, nullptr);
    glCompileShader(handle);
    GLint status = GL_FALSE;
    glGetShaderiv(handle, GL_COMPILE_STATUS, &status);
    if (status == GL_TRUE)
    {
        return handle;
    }
    error = glIsShader(handle) ? ReadLog(handle, glGetShaderiv, glGetShaderInfoLog) : std::string();
    glDeleteShader(handle);
    return 0;
}

std::vector<ShaderProgram::Input> ReadAttributes(GLuint program)
{
    std::vector<ShaderProgram::Input> attributes;
    GLint count = 0;
    glGetProgramiv(program, GL_ACTIVE_ATTRIBUTES, &count);
    for (GLint index = 0; index < count; ++index)
    {
        std::array<char, 256> name{};
        GLint size = 0;
        GLenum type = 0;
        glGetActiveAttrib(program, static_cast<GLuint>(index), name.size(), nullptr, &size, &type, name.data());
        attributes.push_back({name.data(), glGetAttribLocation(program, name.data())});
    }
    return attributes;
}

/// Those in blocks have no location and are left out.
std::vector<ShaderProgram::Input> ReadUniforms(GLuint program)
{
    std::vector<ShaderProgram::Input> uniforms;
    GLint count = 0;
    glGetProgramiv(program, GL_ACTIVE_UNIFORMS, &count);
    for (GLint index = 0; index < count; ++index)
    {
        std::array<char, 256> buffer{};
        GLint size = 0;
        GLenum type = 0;
        glGetActiveUniform(program, static_cast<GLuint>(index), buffer.size(), nullptr, &size, &type, buffer.data());
        const std::string name = gRemoveArraySuffix(buffer.data());
        const GLint location = glGetUniformLocation(program, name.c_str());
        if (location >= 0)
        {
            uniforms.push_back({name, location});
        }
    }
    return uniforms;
}
}

Shader* ShaderManager::CreateShader(
    const EmbeddedResource& resource, EShaderStage stage, const RenderContext& context, std::string& error)
{
    auto shader = std::make_unique<Shader>(Shader{resource.mName, 0});
    if (resource.mData == nullptr)
    {
        error = "Attempt to init shader from invalid resource";
    }
    else if (!context.HasGL())
    {
        error = "No OpenGL context";
    }
    else
    {
        const std::string source =
            gRewriteShaderVersion(resource.mData, context.GetMajorVersion(), context.GetMinorVersion());
        shader->mHandle = Compile(source, GetGLStage(stage), error);
    }
    if (shader->mHandle == 0)
    {
        Utility::gTrace("Failed to compile shader '%s': %s", resource.mName.c_str(), error.c_str());
        return nullptr;
    }
    Utility::gTrace("Successfully compiled shader '%s'", resource.mName.c_str());
    return mShaders.emplace_back(std::move(shader)).get();
}

ShaderProgram* ShaderManager::CreateProgram(const Shader& vertex, const Shader& fragment, std::string& error)
{
    return Link({&vertex, &fragment},
        Utility::gFormat("vertex shader '%s' and fragment shader '%s'", vertex.mName.c_str(), fragment.mName.c_str()),
        error);
}

ShaderProgram* ShaderManager::CreateProgram(const Shader& compute, std::string& error)
{
    return Link({&compute}, Utility::gFormat("compute shader '%s'", compute.mName.c_str()), error);
}

ShaderProgram* ShaderManager::Link(
    std::initializer_list<const Shader*> stages, const std::string& description, std::string& error)
{
    const GLuint handle = glCreateProgram();
    for (const Shader* stage : stages)
    {
        glAttachShader(handle, stage->mHandle);
    }
    glLinkProgram(handle);
    GLint status = GL_FALSE;
    glGetProgramiv(handle, GL_LINK_STATUS, &status);
    if (status != GL_TRUE)
    {
        error = glIsProgram(handle) ? ReadLog(handle, glGetProgramiv, glGetProgramInfoLog) : std::string();
        Utility::gTrace("Failed to link shader program for %s: %s", description.c_str(), error.c_str());
        glDeleteProgram(handle);
        return nullptr;
    }
    auto program = std::make_unique<ShaderProgram>();
    program->mHandle = handle;
    program->mAttributes = ReadAttributes(handle);
    program->mUniforms = ReadUniforms(handle);
    const auto findLocation = [&program](std::string_view name) {
        const ShaderProgram::Input* const uniform = program->FindUniform(name);
        return uniform == nullptr ? -1 : uniform->mLocation;
    };
    program->mModelLocation = findLocation("inModel");
    program->mViewLocation = findLocation("inView");
    program->mProjectionLocation = findLocation("inProjection");
    Utility::gTrace("Successfully linked shader program for %s", description.c_str());
    return mPrograms.emplace_back(std::move(program)).get();
}

void ShaderManager::ReleaseGLObjects(bool areAlive)
{
    for (const std::unique_ptr<ShaderProgram>& program : mPrograms)
    {
        if (areAlive)
        {
            glDeleteProgram(program->mHandle);
        }
        program->mHandle = 0;
    }
    for (const std::unique_ptr<Shader>& shader : mShaders)
    {
        if (areAlive)
        {
            glDeleteShader(shader->mHandle);
        }
        shader->mHandle = 0;
    }
}
}
