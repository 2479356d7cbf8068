#include "Renderer/Geometry.h"

namespace Renderer
{
namespace
{
struct KindOfStream
{
    EVertexKind mKind;
    std::uint32_t mComponents;
};

/// In the order in which streams stand in a geometry.
constexpr KindOfStream gKinds[] = {{EVertexKind::Position, 3}, {EVertexKind::Normal, 3},
    {EVertexKind::FirstCoordinates, 2}, {EVertexKind::SecondCoordinates, 2}, {EVertexKind::Colour, 4}};
}

Geometry::Geometry(VertexMask mask, std::uint64_t capacity) : mMask(mask)
{
    assert((mask & static_cast<VertexMask>(EVertexKind::Position)) != 0);
    for (const KindOfStream& kind : gKinds)
    {
        const auto bits = static_cast<VertexMask>(kind.mKind);
        if ((mask & bits) != 0)
        {
            mPlaces[std::countr_zero(bits)] = static_cast<std::int8_t>(mStreams.size());
            mStreams.push_back({.mKind = kind.mKind, .mData = {}, .mComponents = kind.mComponents});
        }
    }
    Grow(capacity);
}

void Geometry::Grow(std::uint64_t capacity)
{
    assert(capacity >= mCapacity);
    mCapacity = capacity;
    for (VertexStream& stream : mStreams)
    {
        stream.mData.resize(capacity * stream.mComponents);
    }
    if (mIndices.size() < capacity * 2)
    {
        mIndices.resize(capacity * 2);
    }
}

void Geometry::Clear()
{
    for (VertexStream& stream : mStreams)
    {
        stream.mCount = 0;
    }
    mIndexCount = 0;
}

VertexStream* Geometry::FindStream(EVertexKind kind)
{
    const std::int8_t place = mPlaces[std::countr_zero(static_cast<VertexMask>(kind))];
    return place == sNoStream ? nullptr : &mStreams[static_cast<std::size_t>(place)];
}
}
