#pragma once

#include "Importers/TraceWindow.h"

#include <cstddef>
#include <memory>

namespace Importers
{
/// Room for the texts that are made of one event in a window: each of its characters makes at most two. It is written
/// from its beginning on for each event, so of an ordinary trace it stays in the nearest cache.
class TextRoom
{
public:
    char* GetData() { return mData.get(); }

private:
    static constexpr std::size_t sSize = 2 * TraceWindow::sLargestSize + TraceWindow::sPadding;

    std::unique_ptr<char[]> mData = std::make_unique_for_overwrite<char[]>(sSize);
};
}
