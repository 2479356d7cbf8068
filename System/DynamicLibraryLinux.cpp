#include "System/DynamicLibrary.h"

#include <utility>

#include <dlfcn.h>

namespace System
{

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept : mHandle{std::exchange(other.mHandle, nullptr)} {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept
{
    if (this != &other)
    {
        Close();
        mHandle = std::exchange(other.mHandle, nullptr);
    }
    return *this;
}

DynamicLibrary::~DynamicLibrary()
{
    Close();
}

bool DynamicLibrary::Open(const std::string& path, std::string& error)
{
    Close();
    // A name without a separator would be searched for in the system's folders.
    const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
    mHandle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (mHandle == nullptr)
    {
        const char* reason = dlerror();
        error = reason != nullptr ? reason : "unknown reason";
    }
    return mHandle != nullptr;
}

void* DynamicLibrary::Find(const char* name) const
{
    return mHandle == nullptr ? nullptr : dlsym(mHandle, name);
}

void DynamicLibrary::Close()
{
    if (mHandle != nullptr)
        dlclose(std::exchange(mHandle, nullptr));
}

}
