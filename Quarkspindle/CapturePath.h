#pragma once

#include <string>

#include "Utility/Result.h"

namespace Quarkspindle
{

/// The session file of the capture that a user names: by its directory, by the session file itself, or by the trace
/// that it was imported from and lies beside. False with the reason in `result` when there is no such capture.
[[nodiscard]] bool gFindCapture(const std::string& path, std::string& sessionPath, Utility::Result& result);

/// The same for a capture whose session file may be lost: its events are enough.
[[nodiscard]] bool gFindDamagedCapture(const std::string& path, std::string& sessionPath, Utility::Result& result);

}
