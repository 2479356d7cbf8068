#include "Utility/FileCalls.h"

#include <atomic>

namespace FileSystem::Internal
{
namespace
{
FileCalls& SystemCalls()
{
    static auto& calls = *new FileCalls();
    return calls;
}

constinit std::atomic<FileCalls*> gReplacement{nullptr};
}

FileCalls& gGetFileCalls()
{
    FileCalls* const replacement = gReplacement.load(std::memory_order_acquire);
    return replacement != nullptr ? *replacement : SystemCalls();
}

ScopedFileCalls::ScopedFileCalls(FileCalls& calls) : mPrevious(gReplacement.exchange(&calls, std::memory_order_acq_rel))
{}

ScopedFileCalls::~ScopedFileCalls()
{
    gReplacement.store(mPrevious, std::memory_order_release);
}
}
