#include "Utility/FileSystem.h"

#include "Utility/Path.h"
#include "Utility/Text.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace FileSystem
{
namespace
{
using DirectoryId = std::pair<dev_t, ino_t>;

struct Listing
{
    const std::string& mExtension;
    const bool mIsRecursive;
    std::vector<std::string>& mFiles;
    /// A link may lead back to a directory above it.
    std::set<DirectoryId> mVisited{};

    bool List(const std::string& directory)
    {
        struct stat status;
        if (stat(gGetNativePath(directory).c_str(), &status) < 0)
        {
            return false;
        }
        if (!mVisited.insert({status.st_dev, status.st_ino}).second)
        {
            return true;
        }

        std::vector<std::string> files;
        std::vector<std::string> directories;
        std::error_code failure;
        for (std::filesystem::directory_iterator entry(gGetNativePath(directory), failure), end;
             !failure && entry != end; entry.increment(failure))
        {
            std::error_code unknown;
            const std::filesystem::file_status target = entry->status(unknown);
            if (std::filesystem::is_directory(target))
            {
                directories.push_back(gCombinePath(directory, entry->path().filename().string()));
            }
            else if (std::filesystem::is_regular_file(target))
            {
                files.push_back(gCombinePath(directory, entry->path().filename().string()));
            }
        }

        std::sort(files.begin(), files.end());
        std::copy_if(files.begin(), files.end(), std::back_inserter(mFiles),
            [this](const std::string& file) { return mExtension.empty() || gGetExtension(file) == mExtension; });
        bool isComplete = !failure;
        if (mIsRecursive)
        {
            std::sort(directories.begin(), directories.end());
            for (const std::string& child : directories)
            {
                isComplete &= List(child);
            }
        }
        return isComplete;
    }
};

std::string GetVariable(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string GetHome()
{
    if (std::string home = GetVariable("HOME"); gIsAbsolutePath(home))
    {
        return home;
    }
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> texts(16384);
    return getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr ? found->pw_dir
                                                                                                     : "";
}

std::string GetConfigurationFolder(const std::string& home)
{
    if (std::string folder = GetVariable("XDG_CONFIG_HOME"); gIsAbsolutePath(folder))
    {
        return folder;
    }
    return home.empty() ? std::string() : gCombinePath(home, ".config");
}

/// The value of a line such as XDG_DOCUMENTS_DIR="$HOME/Papers", as a shell would read it. Empty when it is no absolute
/// path.
std::string ReadUserDirectory(std::string_view value, const std::string& home)
{
    constexpr std::string_view homeVariable = "$HOME";
    if (value.size() < 2 || value.front() != '"' || value.back() != '"')
    {
        return {};
    }
    value = value.substr(1, value.size() - 2);
    std::string path;
    if (value.starts_with(homeVariable))
    {
        path = home;
        value.remove_prefix(homeVariable.size());
    }
    for (std::size_t i = 0; i < value.size(); ++i)
    {
        if (value[i] == '\\' && i + 1 < value.size())
        {
            ++i;
        }
        path += value[i];
    }
    return gIsAbsolutePath(path) ? path : std::string();
}

std::string GetDocumentsFolder(const std::string& home)
{
    std::string configuration;
    if (gReadTextFile(gCombinePath(GetConfigurationFolder(home), "user-dirs.dirs"), configuration))
    {
        constexpr std::string_view key = "XDG_DOCUMENTS_DIR=";
        std::vector<std::string> lines;
        Utility::gSplit(configuration, lines, "\n");
        for (const std::string& line : lines)
        {
            const std::string text = Utility::gTrimLeft(Utility::gTrimRight(line));
            if (!text.starts_with(key))
            {
                continue;
            }
            if (std::string folder = ReadUserDirectory(std::string_view(text).substr(key.size()), home);
                !folder.empty())
            {
                return folder;
            }
        }
    }
    return home.empty() ? std::string() : gCombinePath(home, "Documents");
}
}

bool gFileExists(const std::string& path)
{
    std::error_code failure;
    return std::filesystem::exists(gGetNativePath(path), failure);
}

bool gGetFileSize(const std::string& path, std::uint64_t& size)
{
    struct stat status;
    if (stat(gGetNativePath(path).c_str(), &status) < 0 || !S_ISREG(status.st_mode))
    {
        return false;
    }
    size = static_cast<std::uint64_t>(status.st_size);
    return true;
}

bool gGetChangeTime(const std::string& path, std::int64_t& time)
{
    struct stat status;
    if (stat(gGetNativePath(path).c_str(), &status) < 0)
    {
        return false;
    }
    time = std::int64_t{status.st_ctim.tv_sec} * 1000000000 + status.st_ctim.tv_nsec;
    return true;
}

bool gListFiles(
    const std::string& directory, const std::string& extension, std::vector<std::string>& files, bool recursive)
{
    const bool isRelative = directory.empty() || directory.front() == '.';
    return Listing{extension, recursive, files}.List(
        isRelative ? gCombinePath(gGetCurrentDirectory(), directory) : directory);
}

std::string gGetCurrentDirectory()
{
    std::error_code failure;
    return std::filesystem::current_path(failure).string();
}

bool gSetCurrentDirectory(const std::string& path)
{
    return chdir(gGetNativePath(path).c_str()) == 0;
}

std::string gGetExecutablePath()
{
    std::error_code failure;
    return std::filesystem::read_symlink("/proc/self/exe", failure).string();
}

std::string gGetSystemDirectory()
{
    return "/usr/lib";
}

std::string gGetKnownFolder(int which)
{
    switch (which)
    {
    case 0:
        return GetConfigurationFolder(GetHome());
    case 1:
        return GetDocumentsFolder(GetHome());
    default:
        return {};
    }
}
}
