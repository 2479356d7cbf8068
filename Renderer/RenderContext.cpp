#include "Renderer/RenderContext.h"

#include "Renderer/EmbeddedResources.h"
#include "Renderer/FontManager.h"
#include "Renderer/Material.h"
#include "Renderer/RenderCamera.h"
#include "Renderer/ShaderSource.h"

#include "Utility/Format.h"
#include "Utility/Trace.h"

#include <GL/glew.h>

#include <algorithm>
#include <cassert>

namespace Renderer
{
namespace
{
struct Attribute
{
    std::string_view mName;
    EVertexKind mKind;
};

constexpr Attribute gAttributes[] = {{"inVertexPos", EVertexKind::Position}, {"inNormal", EVertexKind::Normal},
    {"inColor", EVertexKind::Colour}, {"inUV", EVertexKind::FirstCoordinates},
    {"inUV1", EVertexKind::SecondCoordinates}};

VertexStream* FindStreamOf(std::string_view attribute, Geometry& geometry)
{
    const auto* const found = std::ranges::find(gAttributes, attribute, &Attribute::mName);
    return found == std::end(gAttributes) ? nullptr : geometry.FindStream(found->mKind);
}

template <typename Element>
void SendBuffer(GLenum target, std::uint32_t& buffer, const Element* data, std::size_t count)
{
    if (buffer == 0)
    {
        glGenBuffers(1, &buffer);
    }
    glBindBuffer(target, buffer);
    glBufferData(target, static_cast<GLsizeiptr>(count * sizeof(Element)), data, GL_STATIC_DRAW);
}

void ReleaseBuffer(std::uint32_t& buffer, bool isAlive)
{
    if (isAlive && buffer != 0)
    {
        glDeleteBuffers(1, &buffer);
    }
    buffer = 0;
}
}

RenderContext::RenderContext()
    : mWatcher([this](GLContextHandle context) { ForgetContext(context); }, [this] { ReleaseGLObjects(false); })
{}

RenderContext::~RenderContext()
{
    assert(mVertexArrays.empty() && "something that draws with this context outlives it");
    const bool areAlive = HasGL() && mWatcher.IsGroupCurrent();
    if (areAlive)
    {
        DeletePendingVertexArrays();
    }
    ReleaseGLObjects(areAlive);
}

void RenderContext::BeginFrame()
{
    if (!HasGL())
    {
        return;
    }
    if (mCullFaces)
    {
        glEnable(GL_CULL_FACE);
        glCullFace(GL_BACK);
    }
    else
    {
        glDisable(GL_CULL_FACE);
    }
}

void RenderContext::EndFrame() {}

bool RenderContext::Initialise()
{
    mFailure.clear();
    if (mInitialised)
    {
        if (!mWatcher.IsGroupCurrent())
        {
            return Fail("This OpenGL context does not share its objects with the first one.");
        }
        mWatcher.WatchCurrent();
        return true;
    }
    if (!Start())
    {
        // Whatever was made is of no use, and nobody shall call functions that an old driver lacks.
        ReleaseGLObjects(HasGL());
        return false;
    }
    mWatcher.WatchCurrent();
    mInitialised = true;
    return true;
}

bool RenderContext::Start()
{
    glewExperimental = GL_TRUE;
    if (gGetCurrentGLContext() == nullptr || glewInit() != GLEW_OK)
    {
        return Fail("Could not initialize Glew.");
    }
    // Looking for extensions may leave an error behind that is none of ours.
    glGetError();
    if (!ReadVersion())
    {
        return false;
    }
    GetFonts().GetRenderer().Initialise();
    if (!CreateDefaultProgram())
    {
        Utility::gTrace("Could not initialize default shaders.");
        return false;
    }
    return true;
}

bool RenderContext::ReadVersion()
{
    const auto* const text = reinterpret_cast<const char*>(glGetString(GL_VERSION));
    int majorVersion = 0;
    int minorVersion = 0;
    if (!gParseGLVersion(text, majorVersion, minorVersion))
    {
        return Fail(Utility::gFormat("No OpenGL version can be read from \"%s\".", text == nullptr ? "" : text));
    }
    // What shaders of this version say is GLSL's version too from here on; samplers and vertex arrays come with it.
    if (std::pair(majorVersion, minorVersion) < std::pair(3, 3))
    {
        return Fail(Utility::gFormat("OpenGL 3.3 is needed, and the driver offers \"%s\".", text));
    }
    mMajorVersion = majorVersion;
    mMinorVersion = minorVersion;
    return true;
}

bool RenderContext::CreateDefaultProgram()
{
    const EmbeddedResources& resources = EmbeddedResources::sGet();
    std::string error;
    const Shader* const vertex = mShaders.CreateShader(
        resources.FindResource("Renderer/Shaders/Default_vs.cg"), EShaderStage::Vertex, *this, error);
    if (vertex == nullptr)
    {
        return Fail("Could not create default vertex shader: " + error);
    }
    const Shader* const fragment = mShaders.CreateShader(
        resources.FindResource("Renderer/Shaders/Default_ps.cg"), EShaderStage::Fragment, *this, error);
    if (fragment == nullptr)
    {
        return Fail("Could not create default fragment shader: " + error);
    }
    mDefaultProgram = mShaders.CreateProgram(*vertex, *fragment, error);
    return mDefaultProgram != nullptr || Fail("Could not create default shader program.");
}

bool RenderContext::Fail(std::string reason)
{
    mFailure = std::move(reason);
    Utility::gTrace("%s", mFailure.c_str());
    return false;
}

void RenderContext::Clear(const Colour& colour)
{
    if (HasGL())
    {
        glClearColor(colour.mRed, colour.mGreen, colour.mBlue, colour.mAlpha);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    }
}

void RenderContext::SetScissor(const std::optional<ScissorBox>& box)
{
    if (!HasGL())
    {
        return;
    }
    if (!box)
    {
        glDisable(GL_SCISSOR_TEST);
        return;
    }
    glEnable(GL_SCISSOR_TEST);
    glScissor(box->mX, box->mY, box->mWidth, box->mHeight);
}

Geometry& RenderContext::CreateGeometry(VertexMask mask, std::uint64_t capacity)
{
    Geometry** best = nullptr;
    for (Geometry*& unused : mUnusedGeometry)
    {
        if (unused->GetMask() == mask && unused->GetCapacity() >= capacity &&
            (best == nullptr || unused->GetCapacity() < (*best)->GetCapacity()))
        {
            best = &unused;
        }
    }
    if (best != nullptr)
    {
        std::swap(*best, mUnusedGeometry.back());
        Geometry& geometry = *mUnusedGeometry.back();
        mUnusedGeometry.pop_back();
        return geometry;
    }
    return *mGeometry.emplace_back(std::make_unique<Geometry>(mask, capacity));
}

void RenderContext::RecycleGeometry(Geometry& geometry)
{
    geometry.Clear();
    mUnusedGeometry.push_back(&geometry);
}

Material& RenderContext::CreateMaterial(const ShaderProgram* program)
{
    return *mMaterials.emplace_back(std::make_unique<Material>(program));
}

Texture& RenderContext::CreateTexture(std::int32_t width, std::int32_t height, ETextureFormat format)
{
    return *mTextures.emplace_back(std::make_unique<Texture>(width, height, format));
}

Sampler RenderContext::CreateSampler(const Texture& texture, const SamplerSettings& settings)
{
    return {mSamplers.emplace_back(gCreateSampler(settings)), &texture};
}

FontManager& RenderContext::GetFonts()
{
    if (mFonts == nullptr)
    {
        mFonts = std::make_unique<FontManager>(*this);
    }
    return *mFonts;
}

const ShaderProgram* RenderContext::GetProgram(const std::string& vertexName, const std::string& fragmentName)
{
    const auto found = mPrograms.find({vertexName, fragmentName});
    if (found != mPrograms.end())
    {
        return found->second;
    }
    if (!HasGL())
    {
        // Initialise has said so.
        return nullptr;
    }
    const EmbeddedResources& resources = EmbeddedResources::sGet();
    std::string error;
    const Shader* const vertex =
        mShaders.CreateShader(resources.FindResource(vertexName), EShaderStage::Vertex, *this, error);
    const Shader* const fragment = vertex == nullptr ? nullptr
                                                     : mShaders.CreateShader(resources.FindResource(fragmentName),
                                                           EShaderStage::Fragment, *this, error);
    const ShaderProgram* const program =
        fragment == nullptr ? nullptr : mShaders.CreateProgram(*vertex, *fragment, error);
    // One that failed as well: it will not do better for the next widget, and its log line is written.
    mPrograms.insert({{vertexName, fragmentName}, program});
    return program;
}

VertexArrayHandle RenderContext::GetVertexArray(const Material& material, Geometry& geometry)
{
    std::unique_ptr<VertexArray>& entry = mVertexArrays[{&material, &geometry}];
    if (entry == nullptr)
    {
        entry = std::make_unique<VertexArray>();
        entry->mMaterial = &material;
        entry->mGeometry = &geometry;
        if (material.GetProgram() != nullptr)
        {
            for (const ShaderProgram::Input& attribute : material.GetProgram()->mAttributes)
            {
                if (VertexStream* const stream = FindStreamOf(attribute.mName, geometry))
                {
                    entry->mStreams.emplace(attribute.mLocation, stream);
                }
            }
        }
    }
    ++entry->mReferences;
    return {*this, *entry};
}

void RenderContext::Release(VertexArray& vertexArray)
{
    if (--vertexArray.mReferences > 0)
    {
        return;
    }
    // No GL call here: the contexts that these belong to need not be current.
    for (const auto& [context, name] : vertexArray.mNames)
    {
        mPendingDeletes[context].push_back(name);
    }
    mVertexArrays.erase({vertexArray.mMaterial, vertexArray.mGeometry});
}

void RenderContext::DeletePendingVertexArrays()
{
    const auto pending = mPendingDeletes.find(gGetCurrentGLContext());
    if (pending != mPendingDeletes.end())
    {
        glDeleteVertexArrays(static_cast<GLsizei>(pending->second.size()), pending->second.data());
        mPendingDeletes.erase(pending);
    }
}

void RenderContext::Bind(VertexArray& vertexArray)
{
    const auto [entry, isNew] = vertexArray.mNames.try_emplace(gGetCurrentGLContext(), 0u);
    if (!isNew)
    {
        glBindVertexArray(entry->second);
        return;
    }
    // From now on there is something to forget when this context ends.
    mWatcher.WatchCurrent();
    glGenVertexArrays(1, &entry->second);
    glBindVertexArray(entry->second);
    for (const auto& [location, stream] : vertexArray.mStreams)
    {
        const auto index = static_cast<GLuint>(location);
        glBindBuffer(GL_ARRAY_BUFFER, stream->mBuffer);
        glEnableVertexAttribArray(index);
        glVertexAttribPointer(index, static_cast<GLint>(stream->mComponents), GL_FLOAT, GL_FALSE, 0, nullptr);
    }
    glBindBuffer(GL_ARRAY_BUFFER, 0);
}

void RenderContext::Upload(Geometry& geometry)
{
    for (VertexStream& stream : geometry.GetStreams())
    {
        SendBuffer(GL_ARRAY_BUFFER, stream.mBuffer, stream.mData.data(), stream.mCount * stream.mComponents);
    }
    const std::span<const std::uint32_t> indices = geometry.GetIndices();
    SendBuffer(GL_ELEMENT_ARRAY_BUFFER, geometry.GetIndexBuffer(), indices.data(), indices.size());
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
}

void RenderContext::Apply(Material& material, const Matrix4& model, const OrthoRenderCamera& camera)
{
    const ShaderProgram& program = *material.GetProgram();
    Matrix4 matrix;
    material.SetMatrix(model, program.mModelLocation);
    material.SetMatrix(camera.GetView(matrix), program.mViewLocation);
    material.SetMatrix(camera.GetProjection(matrix), program.mProjectionLocation);
    material.Apply();
}

void RenderContext::Draw(const Geometry& geometry, VertexArray& vertexArray)
{
    Bind(vertexArray);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, geometry.GetIndexBuffer());
    glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(geometry.GetIndices().size()), GL_UNSIGNED_INT, nullptr);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glBindVertexArray(0);
}

void RenderContext::ForgetContext(GLContextHandle context)
{
    mPendingDeletes.erase(context);
    for (const auto& [key, vertexArray] : mVertexArrays)
    {
        vertexArray->mNames.erase(context);
    }
}

void RenderContext::ReleaseGLObjects(bool areAlive)
{
    if (mFonts != nullptr)
    {
        mFonts->ReleaseGLObjects(areAlive);
    }
    for (const std::unique_ptr<Geometry>& geometry : mGeometry)
    {
        for (VertexStream& stream : geometry->GetStreams())
        {
            ReleaseBuffer(stream.mBuffer, areAlive);
        }
        ReleaseBuffer(geometry->GetIndexBuffer(), areAlive);
    }
    for (const std::unique_ptr<Texture>& texture : mTextures)
    {
        texture->ReleaseGLObject(areAlive);
    }
    if (areAlive)
    {
        glDeleteSamplers(static_cast<GLsizei>(mSamplers.size()), mSamplers.data());
    }
    mSamplers.clear();
    mShaders.ReleaseGLObjects(areAlive);
    mPrograms.clear();
    mDefaultProgram = nullptr;
    mMajorVersion = 0;
    mMinorVersion = 0;
    mInitialised = false;
}
}
