#include "Quarkspindle/CapturePath.h"

#include <filesystem>
#include <system_error>
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

/// What is taken for a capture.
enum class ENeeds
{
    SessionFile,
    Events,
};

bool HasEvents(const std::string& directory)
{
    return FileSystem::gFileExists(FileSystem::gCombinePath(directory, "events.dat"));
}

/// The session file that a directory lacks has the directory's name.
std::string MakeSessionPath(const std::string& directory)
{
    std::error_code ignored;
    const std::filesystem::path path = std::filesystem::weakly_canonical(directory, ignored);
    return FileSystem::gCombinePath(directory, path.filename().string() + ".session");
}

/// The one session file of a directory.
bool FindInDirectory(const std::string& directory, ENeeds needs, std::string& sessionPath, Utility::Result& result)
{
    std::vector<std::string> files;
    if (!FileSystem::gListFiles(directory, "session", files, false))
        return result.Fail(Serialization::FileNotFound, "The directory cannot be read");
    if (files.empty() && needs == ENeeds::Events && HasEvents(directory))
        files.push_back(MakeSessionPath(directory));
    if (files.empty())
        return result.Fail(Serialization::FileNotFound, "The directory is no capture: it has no .session file");
    if (files.size() > 1)
        return result.Fail(
            Serialization::InvalidBuffer, "The directory has %zu .session files: name one of them", files.size());
    sessionPath = files.front();
    return true;
}

bool Find(const std::string& path, ENeeds needs, std::string& sessionPath, Utility::Result& result)
{
    const auto context = result.PushContext(path);
    uint64_t size = 0;
    const bool isFile = FileSystem::gGetFileSize(path, size);
    if (!isFile && FileSystem::gFileExists(path))
        return FindInDirectory(path, needs, sessionPath, result);
    if (FileSystem::gGetExtension(path) == "session")
    {
        sessionPath = path;
        const bool isCapture = isFile || (needs == ENeeds::Events && HasEvents(FileSystem::gGetDirectory(path)));
        return isCapture || result.Fail(Serialization::FileNotFound, "There is no such file");
    }
    const std::string rawTraceSession = Profiler::gGetSessionPath(path);
    if (rawTraceSession != path && FileSystem::gFileExists(rawTraceSession))
    {
        sessionPath = rawTraceSession;
        return true;
    }
    const std::string directory = Importers::gGetCaptureDirectory(path);
    if (FileSystem::gFileExists(directory))
        return FindInDirectory(directory, needs, sessionPath, result);
    if (isFile)
        return result.Fail(Serialization::FileNotFound,
            "The trace has no capture beside it (%s): run 'quarkspindle import' on it first", directory.c_str());
    return result.Fail(Serialization::FileNotFound, "There is no such file or directory");
}

}

bool gFindCapture(const std::string& path, std::string& sessionPath, Utility::Result& result)
{
    return Find(path, ENeeds::SessionFile, sessionPath, result);
}

bool gFindDamagedCapture(const std::string& path, std::string& sessionPath, Utility::Result& result)
{
    return Find(path, ENeeds::Events, sessionPath, result);
}

}
