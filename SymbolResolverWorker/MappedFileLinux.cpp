#include "SymbolResolverWorker/MappedFile.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "Serialization/Error.h"
#include "Utility/FileWriter.h"
#include "Utility/Result.h"

namespace Symbols
{

MappedFile::~MappedFile()
{
    if (!mBytes.empty())
        munmap(mBytes.data(), mBytes.size());
}

bool MappedFile::Open(const std::string& path, Utility::Result& result)
{
    const auto fail = [&](FileSystem::EFileOperation operation, int error) {
        const int code = error == ENOENT ? Serialization::FileNotFound : Serialization::FileReadFailed;
        return result.FailText(code, FileSystem::FileError{operation, error, path}.ToString());
    };
    // A pipe must not hold up the opening.
    const FileSystem::FileHandle file{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    struct stat status = {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0)
        return fail(FileSystem::EFileOperation::Open, errno);
    if (!S_ISREG(status.st_mode))
        return fail(FileSystem::EFileOperation::Open, EINVAL);
    if (status.st_size == 0)
        return result.Fail(Serialization::InvalidBuffer, "The file is empty");
    const auto size = static_cast<std::size_t>(status.st_size);
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_NORESERVE, file.Get(), 0);
    if (memory == MAP_FAILED)
        return fail(FileSystem::EFileOperation::Read, errno);
    mBytes = {static_cast<std::byte*>(memory), size};
    return true;
}

}
