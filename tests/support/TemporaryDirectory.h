#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace Tests
{

/// A fresh directory that goes with its scope, with the small verbs of file tests.
class TemporaryDirectory
{
public:
    TemporaryDirectory()
    {
        std::string path = (std::filesystem::temp_directory_path() / "quarkspindle-test-XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr)
            std::abort();
        mPath = path;
    }
    ~TemporaryDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::string Path(const std::string& name = {}) const { return name.empty() ? mPath : mPath + "/" + name; }

    std::string Write(const std::string& name, std::string_view content) const
    {
        std::ofstream{Path(name), std::ios::binary} << content;
        return Path(name);
    }

    std::string Read(const std::string& name) const
    {
        std::ifstream file{Path(name), std::ios::binary};
        return {std::istreambuf_iterator<char>{file}, {}};
    }

private:
    std::string mPath;
};

}
