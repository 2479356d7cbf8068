#pragma once

#include "Renderer/Geometry.h"
#include "Renderer/VertexArray.h"

#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

namespace Renderer
{
class Material;
class PrimitiveList;
class RenderContext;

/// What has to be the same for primitives to go out in one draw call.
struct BatchKey
{
    Material* mMaterial = nullptr;
    std::int32_t mLayer = 0;
    PrimitiveList* mList = nullptr;
    bool operator==(const BatchKey&) const = default;
};

/// The primitives of one key, in one geometry or in several when they did not fit.
struct Batch
{
    struct Buffer
    {
        Geometry* mGeometry = nullptr;
        VertexArrayHandle mVertexArray;
    };

    /// Whether this frame has put anything into it.
    bool IsEmpty() const { return mBuffers.empty() || mBuffers.front().mGeometry->IsEmpty(); }

    BatchKey mKey;
    /// Batches of one layer are drawn in the order in which they were first used.
    std::size_t mOrder = 0;
    /// The one that is being filled; those behind it are empty.
    std::size_t mCurrent = 0;
    std::vector<Buffer> mBuffers;
};

/// Collects what is drawn in a frame into as few geometries as possible. Batches stay from frame to frame with all
/// their memory, so that a frame like the one before allocates nothing. No operation needs a GL context.
class BatchTable
{
public:
    /// The geometries come from the context and go back to it, so it must outlive the table.
    explicit BatchTable(RenderContext& context) : mContext(context) {}
    ~BatchTable();
    BatchTable(const BatchTable&) = delete;
    BatchTable& operator=(const BatchTable&) = delete;

    /// A geometry of the key that has room for so many vertices. Its capacity is `budget`, or larger where that is too
    /// small for the request. All requests of one material have the same mask.
    Geometry& GetGeometry(const BatchKey& key, VertexMask mask, std::uint32_t vertexCount, std::uint32_t budget)
    {
        if (mLastBatch == nullptr || !(key == mLastBatch->mKey))
        {
            mLastBatch = &FindOrAdd(key);
        }
        if (mLastBatch->mCurrent < mLastBatch->mBuffers.size())
        {
            Geometry& geometry = *mLastBatch->mBuffers[mLastBatch->mCurrent].mGeometry;
            if (geometry.HasRoom(vertexCount))
            {
                return geometry;
            }
        }
        return OpenGeometry(*mLastBatch, mask, vertexCount, budget);
    }

    /// Those that hold anything, highest layer first. Valid until the next call of any operation.
    std::span<Batch* const> GetDrawOrder();
    /// Empties all of them.
    void Clear();
    /// Drops the batches of a list that ends.
    void Remove(const PrimitiveList& list);

private:
    struct KeyHash
    {
        std::size_t operator()(const BatchKey& key) const;
    };

    Batch& FindOrAdd(const BatchKey& key);
    Geometry& OpenGeometry(Batch& batch, VertexMask mask, std::uint32_t vertexCount, std::uint32_t budget);
    void Recycle(Batch& batch);

    RenderContext& mContext;
    std::vector<std::unique_ptr<Batch>> mBatches;
    std::unordered_map<BatchKey, Batch*, KeyHash> mBatchesByKey;
    /// Runs of primitives with one key need no look-up.
    Batch* mLastBatch = nullptr;
    std::size_t mNextOrder = 0;
    std::vector<Batch*> mDrawOrder;
};
}
