#pragma once

#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Renderer
{
/// What a stream of vertices holds; the values are bits of a VertexMask.
enum class EVertexKind : std::uint8_t
{
    Position = 1,
    Normal = 2,
    Colour = 4,
    FirstCoordinates = 8,
    SecondCoordinates = 16
};

/// The kinds that the vertices of a geometry have.
using VertexMask = std::uint8_t;
inline constexpr VertexMask gColouredVertices = 5;
inline constexpr VertexMask gTexturedVertices = 13;
inline constexpr VertexMask gDoublyTexturedVertices = 29;

/// One attribute of the vertices of a geometry, as one array of floats and the GL buffer that it is sent to.
struct VertexStream
{
    EVertexKind mKind = EVertexKind::Position;
    /// 0 until the first upload. Shared by the contexts of a group, and only the RenderContext makes or frees it.
    std::uint32_t mBuffer = 0;
    /// As long as the capacity of the geometry.
    std::vector<float> mData;
    /// Floats a vertex.
    std::uint32_t mComponents = 0;
    /// Vertices that are in it now.
    std::uint64_t mCount = 0;
};

/// Triangles in the making: plain arrays that are filled without a GL context, sent whole and then emptied, so that the
/// next frame fills the same memory. Made and kept by a RenderContext.
class Geometry
{
public:
    Geometry(VertexMask mask, std::uint64_t capacity);
    Geometry(const Geometry&) = delete;
    Geometry& operator=(const Geometry&) = delete;

    VertexMask GetMask() const { return mMask; }
    std::uint64_t GetCapacity() const { return mCapacity; }
    std::uint64_t GetVertexCount() const { return mStreams.front().mCount; }
    bool IsEmpty() const { return GetVertexCount() == 0 && mIndexCount == 0; }
    /// Whether so many more vertices stay below the capacity.
    bool HasRoom(std::uint64_t vertexCount) const { return GetVertexCount() + vertexCount < mCapacity; }

    /// Makes room for `capacity` vertices and keeps what is there.
    void Grow(std::uint64_t capacity);
    void Clear();

    /// Null when the vertices have no such kind.
    VertexStream* FindStream(EVertexKind kind);
    /// Position, normal, first coordinates, second coordinates, colour, as far as the mask asks for them.
    std::span<VertexStream> GetStreams() { return mStreams; }
    std::span<const VertexStream> GetStreams() const { return mStreams; }

    /// Room for the next `vertexCount` vertices of one kind, to be written at once; every kind of the mask has to be
    /// extended by the same number. Within the capacity.
    float* Extend(EVertexKind kind, std::uint64_t vertexCount);
    /// Room for the next `indexCount` vertex numbers. Three make a triangle whose front has them counter-clockwise.
    std::uint32_t* ExtendIndices(std::uint64_t indexCount);

    std::span<const std::uint32_t> GetIndices() const { return {mIndices.data(), mIndexCount}; }
    /// Like that of a stream.
    std::uint32_t& GetIndexBuffer() { return mIndexBuffer; }
    std::uint32_t GetIndexBuffer() const { return mIndexBuffer; }

private:
    static constexpr std::int8_t sNoStream = -1;

    VertexMask mMask;
    std::uint64_t mCapacity = 0;
    std::vector<VertexStream> mStreams;
    /// The place of each kind in mStreams, by the number of its bit.
    std::int8_t mPlaces[5] = {sNoStream, sNoStream, sNoStream, sNoStream, sNoStream};
    /// Twice the capacity, which no quads or triangles fill; grows when something else does.
    std::vector<std::uint32_t> mIndices;
    std::size_t mIndexCount = 0;
    std::uint32_t mIndexBuffer = 0;
};

inline float* Geometry::Extend(EVertexKind kind, std::uint64_t vertexCount)
{
    const int bit = std::countr_zero(static_cast<unsigned>(kind));
    VertexStream& stream = mStreams[static_cast<std::size_t>(mPlaces[bit])];
    assert(stream.mCount + vertexCount <= mCapacity);
    float* const first = stream.mData.data() + stream.mCount * stream.mComponents;
    stream.mCount += vertexCount;
    return first;
}

inline std::uint32_t* Geometry::ExtendIndices(std::uint64_t indexCount)
{
    if (mIndexCount + indexCount > mIndices.size())
    {
        mIndices.resize((mIndexCount + indexCount) * 2);
    }
    std::uint32_t* const first = mIndices.data() + mIndexCount;
    mIndexCount += indexCount;
    return first;
}
}
