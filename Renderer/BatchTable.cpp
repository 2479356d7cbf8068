#include "Renderer/BatchTable.h"

#include "Renderer/RenderContext.h"

#include <algorithm>
#include <cassert>
#include <functional>

namespace Renderer
{
std::size_t BatchTable::KeyHash::operator()(const BatchKey& key) const
{
    constexpr std::size_t multiplier = 0x9E3779B97F4A7C15;
    std::size_t hash = std::hash<const void*>()(key.mMaterial);
    hash = hash * multiplier + static_cast<std::uint32_t>(key.mLayer);
    return hash * multiplier + std::hash<const void*>()(key.mList);
}

BatchTable::~BatchTable()
{
    for (const std::unique_ptr<Batch>& batch : mBatches)
    {
        Recycle(*batch);
    }
}

Batch& BatchTable::FindOrAdd(const BatchKey& key)
{
    Batch*& entry = mBatchesByKey[key];
    if (entry == nullptr)
    {
        entry = mBatches.emplace_back(std::make_unique<Batch>()).get();
        entry->mKey = key;
        entry->mOrder = mNextOrder++;
    }
    return *entry;
}

Geometry& BatchTable::OpenGeometry(Batch& batch, VertexMask mask, std::uint32_t vertexCount, std::uint32_t budget)
{
    // A geometry takes up to one vertex less than its capacity.
    const std::uint64_t capacity = std::max<std::uint64_t>(budget, std::uint64_t{vertexCount} + 1);
    std::vector<Batch::Buffer>& buffers = batch.mBuffers;
    if (batch.mCurrent < buffers.size() && !buffers[batch.mCurrent].mGeometry->IsEmpty())
    {
        ++batch.mCurrent;
    }
    if (batch.mCurrent == buffers.size())
    {
        Geometry& geometry = mContext.CreateGeometry(mask, capacity);
        buffers.push_back({&geometry, mContext.GetVertexArray(*batch.mKey.mMaterial, geometry)});
        return geometry;
    }
    Geometry& geometry = *buffers[batch.mCurrent].mGeometry;
    assert(geometry.GetMask() == mask);
    if (!geometry.HasRoom(vertexCount))
    {
        // An empty one from an earlier frame. Doubled, so that requests which grow frame by frame allocate seldom.
        geometry.Grow(std::max(capacity, geometry.GetCapacity() * 2));
    }
    return geometry;
}

std::span<Batch* const> BatchTable::GetDrawOrder()
{
    mDrawOrder.clear();
    for (const std::unique_ptr<Batch>& batch : mBatches)
    {
        if (!batch->IsEmpty())
        {
            mDrawOrder.push_back(batch.get());
        }
    }
    std::ranges::sort(mDrawOrder, [](const Batch* left, const Batch* right) {
        return left->mKey.mLayer != right->mKey.mLayer ? left->mKey.mLayer > right->mKey.mLayer
                                                       : left->mOrder < right->mOrder;
    });
    return mDrawOrder;
}

void BatchTable::Clear()
{
    for (const std::unique_ptr<Batch>& batch : mBatches)
    {
        for (const Batch::Buffer& buffer : batch->mBuffers)
        {
            buffer.mGeometry->Clear();
        }
        batch->mCurrent = 0;
    }
}

void BatchTable::Remove(const PrimitiveList& list)
{
    mLastBatch = nullptr;
    std::erase_if(mBatches, [this, &list](const std::unique_ptr<Batch>& batch) {
        if (batch->mKey.mList != &list)
        {
            return false;
        }
        Recycle(*batch);
        mBatchesByKey.erase(batch->mKey);
        return true;
    });
}

void BatchTable::Recycle(Batch& batch)
{
    for (Batch::Buffer& buffer : batch.mBuffers)
    {
        buffer.mVertexArray = {};
        mContext.RecycleGeometry(*buffer.mGeometry);
    }
    batch.mBuffers.clear();
}
}
