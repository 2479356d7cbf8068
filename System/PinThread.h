#pragma once

namespace System
{
/// Keeps the calling thread on one of the processors that it may use, for measurements: threads with the same index
/// share one. Where that is refused, nothing changes.
void gPinThread(int index);
}
