#pragma once

#include "Renderer/GLContextWatcher.h"
#include "Renderer/Geometry.h"
#include "Renderer/Scissor.h"
#include "Renderer/ShaderManager.h"
#include "Renderer/Texture.h"
#include "Renderer/VertexArray.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Renderer
{
class FontManager;
class Material;
class OrthoRenderCamera;
struct Colour;
struct Matrix4;
struct ShaderProgram;

/// The root of all that lives on the GPU: one for all widgets of a host, whose GL contexts share their objects. It
/// keeps what it makes (geometry, materials, textures, shaders) to its own end. The thread of the GL contexts only; for
/// what says so, one of them has to be current.
///
/// It notices when a context ends. With the last one of the group all objects are gone: what was made from them draws
/// nothing from then on, and `Initialise` starts again in the next context.
///
/// It outlives everything that draws with it. At its end it frees its GL objects when a context of the group is
/// current; otherwise they go with the group. A module may draw with the context of the program that has loaded it, and
/// even be the one to initialise it; some of its code then stays behind, so it is unloaded after the context has ended.
class RenderContext
{
public:
    /// Needs no GL context.
    RenderContext();
    virtual ~RenderContext();
    RenderContext(const RenderContext&) = delete;
    RenderContext& operator=(const RenderContext&) = delete;

    /// At the start and the end of what one widget paints.
    virtual void BeginFrame();
    virtual void EndFrame();

    /// Brings up GL in the current context; the first widget does that, for the others it is done. False, with lines
    /// in the log and the reason in GetFailure, when there is no OpenGL to draw with or when the current context does
    /// not share its objects with those before. Nothing can be drawn in that context then; what collects primitives for
    /// it goes on, and its flush only empties it.
    bool Initialise();
    bool IsInitialised() const { return mInitialised; }
    /// Why the last call of Initialise failed: a sentence that a widget can show in place of its picture. Empty after
    /// one that did not.
    const std::string& GetFailure() const { return mFailure; }
    /// Whether GL may be called: true from inside Initialise on, unless that fails.
    bool HasGL() const { return mMajorVersion > 0; }
    /// 0 before Initialise.
    int GetMajorVersion() const { return mMajorVersion; }
    int GetMinorVersion() const { return mMinorVersion; }
    bool IsVersionAtLeast(int majorVersion, int minorVersion) const
    {
        return std::pair(mMajorVersion, mMinorVersion) >= std::pair(majorVersion, minorVersion);
    }

    /// Colour and depth of the whole surface.
    void Clear(const Colour& colour);
    /// Whether triangles are drawn only from their front; from the next BeginFrame on. They are at first.
    void SetCullFaces(bool cullFaces) { mCullFaces = cullFaces; }
    /// Draws only inside the box from now on, or everywhere.
    void SetScissor(const std::optional<ScissorBox>& box);

    /// Needs no GL context. The geometry stays until the context ends.
    Geometry& CreateGeometry(VertexMask mask, std::uint64_t capacity);
    /// Gives a geometry back for the next request that it suits. It must not be used any more.
    void RecycleGeometry(Geometry& geometry);
    /// Needs no GL context. Without a program the material draws nothing.
    Material& CreateMaterial(const ShaderProgram* program);
    Texture& CreateTexture(std::int32_t width, std::int32_t height, ETextureFormat format = ETextureFormat::R16UI);
    Sampler CreateSampler(const Texture& texture, const SamplerSettings& settings);
    ShaderManager& GetShaders() { return mShaders; }
    /// Made at the first request, which needs no GL context; text is drawn after Initialise.
    FontManager& GetFonts();
    /// The program of two embedded sources, made at the first request. Null, with a line in the log, when it cannot be
    /// made; null without OpenGL.
    const ShaderProgram* GetProgram(const std::string& vertexName, const std::string& fragmentName);
    /// One light, for geometry with normals. Null before Initialise.
    const ShaderProgram* GetDefaultProgram() const { return mDefaultProgram; }

    /// Joins the streams of a geometry to the attributes of a material's program. Needs no GL context.
    VertexArrayHandle GetVertexArray(const Material& material, Geometry& geometry);
    /// Deletes the vertex arrays that were released since in the context that is now current. A widget calls it before
    /// it paints and when it ends.
    void DeletePendingVertexArrays();

    /// Sends what was put into the geometry to its GL buffers.
    void Upload(Geometry& geometry);
    /// Makes GL draw with a material that can, until it is unapplied.
    void Apply(Material& material, const Matrix4& model, const OrthoRenderCamera& camera);
    /// Draws what was uploaded last with the material that is applied.
    void Draw(const Geometry& geometry, VertexArray& vertexArray);

private:
    friend class VertexArrayHandle;

    /// The first start of a group of GL contexts.
    bool Start();
    bool ReadVersion();
    bool CreateDefaultProgram();
    /// Keeps and logs it; false, to be returned.
    bool Fail(std::string reason);
    void Bind(VertexArray& vertexArray);
    void Release(VertexArray& vertexArray);
    void ForgetContext(GLContextHandle context);
    /// Deletes all GL objects, or only forgets their names when they are gone already.
    void ReleaseGLObjects(bool areAlive);

    bool mInitialised = false;
    std::string mFailure;
    bool mCullFaces = true;
    int mMajorVersion = 0;
    int mMinorVersion = 0;
    std::vector<std::unique_ptr<Geometry>> mGeometry;
    std::vector<Geometry*> mUnusedGeometry;
    std::vector<std::unique_ptr<Material>> mMaterials;
    std::vector<std::unique_ptr<Texture>> mTextures;
    std::vector<std::uint32_t> mSamplers;
    ShaderManager mShaders;
    std::unique_ptr<FontManager> mFonts;
    const ShaderProgram* mDefaultProgram = nullptr;
    /// By the names of the two sources.
    std::map<std::pair<std::string, std::string>, const ShaderProgram*> mPrograms;
    std::map<std::pair<const Material*, const Geometry*>, std::unique_ptr<VertexArray>> mVertexArrays;
    /// Names that wait for their own context to be current.
    std::unordered_map<GLContextHandle, std::vector<std::uint32_t>> mPendingDeletes;
    GLContextWatcher mWatcher;
};
}
