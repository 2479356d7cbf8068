#include "Importers/EventBatch.h"

#include <algorithm>
#include <cstring>

namespace Importers
{
namespace
{
/// More than a window of ordinary events needs.
constexpr std::size_t sMostKeptBlocks = 32;
}

EventBatch::EventBatch()
    : mBuffer(std::make_unique_for_overwrite<char[]>(sWindowSize + sPadding)),
      mTexts(std::make_unique_for_overwrite<char[]>(2 * sWindowSize + sPadding)),
      mRoom(mTexts.get())
{}

std::span<char> EventBatch::Clear()
{
    mTextSize = 0;
    mNumEvents = 0;
    mBlocks.resize(std::min(mBlocks.size(), sMostKeptBlocks));
    mRoom = mTexts.get();
    mKept.clear();
    return {mBuffer.get(), sWindowSize};
}

void EventBatch::SetTextSize(std::size_t size)
{
    mTextSize = size;
    std::memset(mBuffer.get() + size, '"', sPadding);
}

std::string_view EventBatch::Keep(std::string_view text)
{
    return text.empty() ? std::string_view() : mKept.emplace_back(text);
}
}
