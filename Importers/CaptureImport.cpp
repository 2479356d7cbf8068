#include "Importers/CaptureImport.h"

#include "Importers/SessionWriter.h"
#include "ProfilerLib/session/Session.h"
#include "Serialization/Error.h"
#include "Utility/DirectoryLock.h"
#include "Utility/DirectoryRename.h"
#include "Utility/FileSystem.h"
#include "Utility/FileWriter.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <vector>

namespace Importers
{
namespace
{
std::string RemoveTrailingSeparators(std::string path)
{
    while (path.size() > 1 && FileSystem::gIsSeparator(path.back()))
    {
        path.pop_back();
    }
    return path;
}

/// The folder that holds the name of a path.
std::string GetFolder(const std::string& path)
{
    const std::string parent = FileSystem::gGetDirectory(path);
    return !parent.empty() ? parent : path.front() == FileSystem::gSeparator ? "/" : ".";
}

/// Directories above a capture, made when they were missing. Those that are still empty go again with the object.
class ParentDirectories
{
public:
    ~ParentDirectories()
    {
        for (; !mCreated.empty(); mCreated.pop_back())
        {
            std::error_code ignored;
            std::filesystem::remove(mCreated.back(), ignored);
        }
    }

    [[nodiscard]] bool Create(const std::string& path, FileSystem::FileError& error)
    {
        std::vector<std::string> missing;
        for (std::string parent = FileSystem::gGetDirectory(path); !parent.empty() && !FileSystem::gFileExists(parent);
             parent = FileSystem::gGetDirectory(parent))
        {
            missing.push_back(parent);
        }
        for (; !missing.empty(); missing.pop_back())
        {
            if (FileSystem::gCreateNewDirectory(missing.back(), error))
            {
                mCreated.push_back(missing.back());
            }
            else if (error.mNumber != static_cast<int>(std::errc::file_exists))
            {
                return false;
            }
            // Otherwise another import has made it meanwhile: it is not for this one to take away.
        }
        return true;
    }

    /// Makes their names durable.
    [[nodiscard]] bool Sync(FileSystem::FileError& error) const
    {
        return std::all_of(mCreated.begin(), mCreated.end(),
            [&](const std::string& directory) { return FileSystem::gSyncDirectory(GetFolder(directory), error); });
    }

private:
    std::vector<std::string> mCreated;
};

/// Whether an entry of a capture's directory is one that captures have. Only such directories are ever deleted.
bool IsPartOfCapture(const std::filesystem::directory_entry& entry)
{
    const std::string entryName = entry.path().filename().string();
    const std::string_view name = FileSystem::gStripTemporaryName(entryName);
    std::error_code failure;
    if (entry.is_regular_file(failure))
    {
        return name == "events.dat" || name == "events.index" || name.ends_with(".session") ||
               name.ends_with(".session.damaged");
    }
    // The folder of a plug-in.
    const std::filesystem::directory_iterator files{entry.path(), failure};
    return !failure && std::all_of(begin(files), end(files), [](const std::filesystem::directory_entry& file) {
        std::error_code ignored;
        const std::string fileName = file.path().filename().string();
        return file.is_regular_file(ignored) && FileSystem::gStripTemporaryName(fileName).ends_with(".dat");
    });
}

/// The first entry that captures do not have, or the end.
std::filesystem::directory_iterator FindForeignEntry(const std::string& directory, std::error_code& failure)
{
    const std::filesystem::directory_iterator entries{directory, failure};
    return failure ? entries : std::find_if_not(begin(entries), end(entries), IsPartOfCapture);
}

/// Deletes what imports to `target` left beside it whose processes were killed. Those of running imports are locked.
void DeleteAbandonedCaptures(const std::string& target)
{
    const std::string targetName = FileSystem::gGetFileName(target);
    std::error_code failure;
    std::vector<std::string> abandoned;
    for (const std::filesystem::directory_entry& entry :
        std::filesystem::directory_iterator{GetFolder(target), failure})
    {
        const std::string name = entry.path().filename().string();
        const std::string_view stripped = FileSystem::gStripTemporaryName(name);
        if (stripped == targetName && stripped.size() < name.size() && entry.is_directory(failure))
        {
            abandoned.push_back(entry.path().string());
        }
    }
    for (const std::string& path : abandoned)
    {
        FileSystem::DirectoryLock lock;
        if (lock.TryAcquire(path) == FileSystem::DirectoryLock::EOutcome::Acquired &&
            FindForeignEntry(path, failure) == std::filesystem::directory_iterator() && !failure &&
            FileSystem::gDeleteDirectoryTree(path))
        {
            Utility::gTrace("Deleted %s, which an import that was killed had left", path.c_str());
        }
    }
}

/// A directory beside its target in which a capture is built. What is in it when the object ends goes with it.
class TemporaryCapture
{
public:
    explicit TemporaryCapture(std::string target) : mTarget(std::move(target)) {}
    ~TemporaryCapture()
    {
        // What a link was exchanged for is a link.
        if (!mPath.empty() && !FileSystem::gDeleteDirectoryTree(mPath) && !FileSystem::gDeleteFile(mPath))
        {
            Utility::gTrace("What is left of a capture at %s could not be deleted", mPath.c_str());
        }
    }
    TemporaryCapture(const TemporaryCapture&) = delete;
    TemporaryCapture& operator=(const TemporaryCapture&) = delete;

    [[nodiscard]] bool Create(FileSystem::FileError& error)
    {
        if (!mParents.Create(mTarget, error))
        {
            return false;
        }
        DeleteAbandonedCaptures(mTarget);
        // Another import that looks for what was abandoned may take this directory for such before it is locked.
        FileSystem::DirectoryLock::EOutcome locked;
        do
        {
            const std::string path = FileSystem::gMakeTemporaryPath(mTarget);
            if (!FileSystem::gCreateNewDirectory(path, error))
            {
                return false;
            }
            mPath = path;
            locked = mLock.TryAcquire(path);
        } while (locked == FileSystem::DirectoryLock::EOutcome::InUse);
        return true;
    }

    const std::string& GetPath() const { return mPath; }

    /// Brings all to the disk and gives the directory the name of the target, and takes away what had it when
    /// `replaces` is set.
    [[nodiscard]] bool Commit(bool replaces, FileSystem::FileError& error)
    {
        if (!FileSystem::gSyncTree(mPath, error))
        {
            return false;
        }
        const bool isReplaced = replaces && FileSystem::gFileExists(mTarget);
        if (!(isReplaced ? FileSystem::gExchange(mPath, mTarget, error)
                         : FileSystem::gRenameWithoutReplacing(mPath, mTarget, error)))
        {
            return false;
        }
        if (!isReplaced)
        {
            mPath.clear();
        }
        FileSystem::FileError syncError;
        if (!FileSystem::gSyncDirectory(GetFolder(mTarget), syncError) || !mParents.Sync(syncError))
        {
            Utility::gTrace(
                "The capture is complete but may not survive a crash of the machine: %s", syncError.ToString().c_str());
        }
        return true;
    }

private:
    std::string mTarget;
    std::string mPath;
    FileSystem::DirectoryLock mLock;
    /// Goes last, when the capture is away.
    ParentDirectories mParents;
};

/// A directory with nothing in it but what captures have may be replaced. Anything else in it would be lost.
bool MayReplace(const std::string& directory, Utility::Result& result)
{
    std::error_code failure;
    const std::filesystem::directory_iterator foreign = FindForeignEntry(directory, failure);
    if (failure)
    {
        return result.Fail(Serialization::Unspecified, "it exists already and is no capture, so it is not replaced");
    }
    return foreign == std::filesystem::directory_iterator() ||
           result.Fail(Serialization::Unspecified,
               "it holds \"%s\", which is no part of a capture, so it is not replaced",
               foreign->path().filename().c_str());
}

bool CheckTarget(const std::string& directory, bool force, Utility::Result& result)
{
    const std::string name = FileSystem::gGetFileName(directory);
    if (name.empty() || name == "." || name == "..")
    {
        return result.Fail(Serialization::Unspecified, "a capture needs a directory of its own, with a name");
    }
    if (!FileSystem::gFileExists(directory))
    {
        return true;
    }
    if (!force)
    {
        return result.Fail(Serialization::Unspecified, "it exists already; --force replaces it");
    }
    return MayReplace(directory, result);
}

bool Fail(const FileSystem::FileError& error, Utility::Result& result)
{
    return result.FailText(Serialization::Unspecified, error.ToString());
}

bool Record(const std::string& tracePath, const std::string& sessionPath, const ImportOptions& options,
    const CaptureServices& services, ImportReport& report, Utility::Result& result)
{
    Profiler::Session session(sessionPath, nullptr, services.mJobScheduler, services.mPlugins);
    SessionWriter writer(session);
    return gImportTrace(tracePath, options, writer, report, result);
}
}

std::string gGetCaptureDirectory(const std::string& tracePath)
{
    const std::string name = FileSystem::gGetFileName(tracePath);
    std::string_view stem = name;
    for (const std::string_view compression : {".gz", ".zst"})
    {
        if (stem.ends_with(compression) && stem.size() > compression.size())
        {
            stem.remove_suffix(compression.size());
            break;
        }
    }
    // A point in front is no extension: such a file is hidden.
    if (const std::size_t point = stem.rfind('.'); point != std::string_view::npos && point > 0)
    {
        stem = stem.substr(0, point);
    }
    const std::string directory = tracePath.substr(0, tracePath.size() - name.size());
    return directory + std::string(stem) + (stem.size() == name.size() ? ".capture" : "");
}

std::string gGetCaptureSessionPath(const std::string& directory)
{
    const std::string path = RemoveTrailingSeparators(directory);
    return path + FileSystem::gSeparator + FileSystem::gGetFileName(path) + ".session";
}

bool gImportCapture(const std::string& tracePath, const std::string& directory, bool force,
    const ImportOptions& options, const CaptureServices& services, ImportReport& report, Utility::Result& result)
{
    report = ImportReport();
    const std::string target = RemoveTrailingSeparators(directory);
    TemporaryCapture capture(target);
    FileSystem::FileError error;
    {
        const Utility::ResultContext context = result.PushContext(target);
        if (!CheckTarget(target, force, result))
        {
            return false;
        }
        if (!capture.Create(error))
        {
            return Fail(error, result);
        }
    }
    const std::string sessionPath =
        capture.GetPath() + FileSystem::gSeparator + FileSystem::gGetFileName(target) + ".session";
    if (!Record(tracePath, sessionPath, options, services, report, result))
    {
        return false;
    }
    const Utility::ResultContext context = result.PushContext(target);
    return capture.Commit(force, error) || Fail(error, result);
}
}
