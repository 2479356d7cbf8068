#pragma once

#include <string>

namespace Quarkspindle
{

/// The user's settings file, of the window and of commands alike: settings.json in the folder "quarkspindle" of the
/// user's configuration. It need not exist.
std::string gGetSettingsPath();

}
