#pragma once

#include "Utility/FileSystem.h"
#include "Utility/Guid.h"
#include "Utility/Path.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

/// A new empty folder for one test, gone with all it holds at the end.
class TemporaryFolder
{
public:
    TemporaryFolder()
        : mPath(FileSystem::gCombinePath(::testing::TempDir(), "qs-" + Utility::gFormatGUID(Utility::gMakeGUID())))
    {
        EXPECT_TRUE(FileSystem::gCreateDirectoryTree(mPath));
    }
    ~TemporaryFolder() { FileSystem::gDeleteDirectoryTree(mPath); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& GetPath() const { return mPath; }
    std::string operator/(std::string_view name) const { return FileSystem::gCombinePath(mPath, name); }

    /// Writes a file, with the directories that its name asks for, and returns its path.
    std::string Write(std::string_view name, std::string_view content) const
    {
        const std::string path = *this / name;
        EXPECT_TRUE(FileSystem::gCreateDirectoryTree(FileSystem::gGetDirectory(path)));
        std::ofstream(path, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
        return path;
    }

    std::string Read(std::string_view name) const
    {
        std::vector<std::byte> bytes;
        EXPECT_TRUE(FileSystem::gReadFileToBuffer(*this / name, bytes)) << name;
        return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }

    /// Unlike the writing over a file this does not wait for the disk.
    void Replace(std::string_view name, std::string_view content) const
    {
        FileSystem::gDeleteFile(*this / name);
        Write(name, content);
    }

    /// The files in it, relative to it, sorted.
    std::vector<std::string> List() const
    {
        std::vector<std::string> files;
        EXPECT_TRUE(FileSystem::gListFiles(mPath, "", files, true));
        for (std::string& file : files)
        {
            file.erase(0, mPath.size() + 1);
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    /// The same with the folders in it.
    std::vector<std::string> ListEntries() const
    {
        std::vector<std::string> entries;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(mPath))
        {
            entries.push_back(entry.path().string().substr(mPath.size() + 1));
        }
        std::sort(entries.begin(), entries.end());
        return entries;
    }

private:
    std::string mPath;
};
