#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Renderer
{
/// A text that was compiled into this image.
struct EmbeddedResource
{
    /// The name that was asked for.
    std::string mName;
    /// Ends in a zero and lives as long as the process. Null when there is none of that name.
    const char* mData = nullptr;
    /// Bytes without the zero; all ones when there is none of that name.
    std::uint64_t mSize = ~std::uint64_t{0};
};

/// The entries of one group, by the part of their name behind its first slash.
class EmbeddedResourceGroup
{
public:
    /// `data` must live as long as the group and end in a zero. A name that is there keeps its first data.
    void RegisterResource(std::string_view name, const char* data, std::uint64_t size);
    /// Null when there is none; valid until the next entry is made.
    const EmbeddedResource* FindResource(const std::string& name) const;

private:
    std::unordered_map<std::string, EmbeddedResource> mEntries;
};

/// Finds compiled-in texts by name: "Renderer/Shaders/Bar_ps.cg" is the entry "Shaders/Bar_ps.cg" of the group
/// "Renderer". Not locked: it is filled before it is shared.
class EmbeddedResources
{
public:
    /// The one of this image, with the shaders of this library in it. The thread of the GL contexts.
    static EmbeddedResources& sGet();

    /// Created when it is not there.
    EmbeddedResourceGroup& GetGroup(const std::string& name) { return mGroups[name]; }
    /// Without data when the name has no slash, or when there is no such group or entry.
    EmbeddedResource FindResource(std::string_view fullName) const;

private:
    std::unordered_map<std::string, EmbeddedResourceGroup> mGroups;
};

/// One text as the build wrote it.
struct EmbeddedText
{
    std::string_view mName;
    std::string_view mText;
};

/// The files of `Renderer/Shaders`, each under its path from `Renderer`.
std::span<const EmbeddedText> gGetEmbeddedShaders();
}
