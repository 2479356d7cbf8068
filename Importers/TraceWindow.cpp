#include "Importers/TraceWindow.h"

#include <cstring>

namespace Importers
{
void TraceWindow::SetTextSize(std::size_t size)
{
    mTextSize = size;
    std::memset(mBuffer.get() + size, '"', sPadding);
}
}
