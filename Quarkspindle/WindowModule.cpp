#include "Quarkspindle/WindowModule.h"

#include <string_view>

#include "Quarkspindle/Host.h"
#include "Quarkspindle/Version.h"
#include "System/DynamicLibrary.h"

namespace Quarkspindle
{

const WindowModule* gLoadWindowModule(Utility::Result& result)
{
    const std::string path = gFindPrivateFile("QuarkspindleWindow.so");
    const auto context = result.PushContext(path);
    // Never unloaded: Qt and the drivers leave things behind that run at the end of the process.
    static System::DynamicLibrary& sLibrary = *new System::DynamicLibrary;
    std::string error;
    if (!sLibrary.Open(path, error))
    {
        result.Fail(0, "What draws could not be loaded: %s", error.c_str());
        return nullptr;
    }
    const auto* module = static_cast<const WindowModule*>(sLibrary.Find("windowModule"));
    if (module == nullptr || module->Version != std::string_view{cVersion})
    {
        result.FailText(0, "The file does not belong to this program");
        return nullptr;
    }
    return module;
}

}
