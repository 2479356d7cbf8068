#include "Quarkspindle/CapturePath.h"

#include <vector>

#include "Importers/CaptureImport.h"
#include "ProfilerLib/session/Session.h"
#include "Serialization/Error.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"

namespace Quarkspindle
{

namespace
{

/// The one session file of a directory.
bool FindInDirectory(const std::string& directory, std::string& sessionPath, Utility::Result& result)
{
    std::vector<std::string> files;
    if (!FileSystem::gListFiles(directory, "session", files, false))
        return result.Fail(Serialization::FileNotFound, "The directory cannot be read");
    if (files.empty())
        return result.Fail(Serialization::FileNotFound, "The directory is no capture: it has no .session file");
    if (files.size() > 1)
        return result.Fail(
            Serialization::InvalidBuffer, "The directory has %zu .session files: name one of them", files.size());
    sessionPath = files.front();
    return true;
}

}

bool gFindCapture(const std::string& path, std::string& sessionPath, Utility::Result& result)
{
    const auto context = result.PushContext(path);
    uint64_t size = 0;
    const bool isFile = FileSystem::gGetFileSize(path, size);
    if (!isFile && FileSystem::gFileExists(path))
        return FindInDirectory(path, sessionPath, result);
    if (FileSystem::gGetExtension(path) == "session")
    {
        sessionPath = path;
        return isFile || result.Fail(Serialization::FileNotFound, "There is no such file");
    }
    const std::string rawTraceSession = Profiler::gGetSessionPath(path);
    if (rawTraceSession != path && FileSystem::gFileExists(rawTraceSession))
    {
        sessionPath = rawTraceSession;
        return true;
    }
    const std::string directory = Importers::gGetCaptureDirectory(path);
    if (FileSystem::gFileExists(directory))
        return FindInDirectory(directory, sessionPath, result);
    if (isFile)
        return result.Fail(Serialization::FileNotFound,
            "The trace has no capture beside it (%s): run 'quarkspindle import' on it first", directory.c_str());
    return result.Fail(Serialization::FileNotFound, "There is no such file or directory");
}

}
