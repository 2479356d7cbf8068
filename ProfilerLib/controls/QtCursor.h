#pragma once

#include <QtGui/QCursor>

#include "ProfilerLib/controls/Cursor.h"

namespace Profiler
{

/// The mouse pointer as Qt has it; the arrow for `Default` and any number that is none of the enumeration's. The three
/// that are pictures come from the resources ":/ProfilerLib/..." of the running program, scaled for the desktop; they
/// are made at the first request and kept. One that the program does not have is the arrow. The GUI thread only.
QCursor gGetQtCursor(ECursor cursor);

}
