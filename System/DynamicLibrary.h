#pragma once

#include <string>

namespace System
{

/// A module that is loaded into this process, with its names kept to itself: two modules that define the same name do
/// not meet. Unloaded with the object, which must outlive everything that the module made.
class DynamicLibrary
{
public:
    DynamicLibrary() = default;
    DynamicLibrary(DynamicLibrary&& other) noexcept;
    DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
    ~DynamicLibrary();

    /// Resolves everything at once. False with the loader's reason in `error`; nothing is loaded then.
    [[nodiscard]] bool Open(const std::string& path, std::string& error);

    /// The address of an exported name, or null.
    void* Find(const char* name) const;

    bool IsOpen() const { return mHandle != nullptr; }

private:
    void Close();

    void* mHandle = nullptr;
};

}
