#pragma once

#include "Renderer/GLContextWatcher.h"

#include <cstdint>
#include <unordered_map>
#include <utility>

namespace Renderer
{
class Geometry;
class Material;
class RenderContext;
struct VertexStream;

/// Which stream of a geometry feeds which attribute of a program. GL keeps that in an object that contexts do not
/// share, so each context that draws has a name of its own, made when it first does.
struct VertexArray
{
    const Material* mMaterial = nullptr;
    const Geometry* mGeometry = nullptr;
    std::uint32_t mReferences = 0;
    std::unordered_map<GLContextHandle, std::uint32_t> mNames;
    /// By the location of the attribute.
    std::unordered_map<std::int32_t, VertexStream*> mStreams;
};

/// Keeps a vertex array of a RenderContext, which must outlive it. Its end needs no GL context: the names are deleted
/// when their own contexts are current again.
class [[nodiscard]] VertexArrayHandle
{
public:
    VertexArrayHandle() = default;
    VertexArrayHandle(RenderContext& context, VertexArray& vertexArray) : mContext(&context), mVertexArray(&vertexArray)
    {}
    VertexArrayHandle(VertexArrayHandle&& other) noexcept
        : mContext(std::exchange(other.mContext, nullptr)),
          mVertexArray(std::exchange(other.mVertexArray, nullptr))
    {}
    VertexArrayHandle& operator=(VertexArrayHandle&& other) noexcept
    {
        std::swap(mContext, other.mContext);
        std::swap(mVertexArray, other.mVertexArray);
        return *this;
    }
    ~VertexArrayHandle();

    VertexArray& Get() const { return *mVertexArray; }

private:
    RenderContext* mContext = nullptr;
    VertexArray* mVertexArray = nullptr;
};
}
