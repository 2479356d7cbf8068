#include "Renderer/EmbeddedResources.h"

namespace Renderer
{
void EmbeddedResourceGroup::RegisterResource(std::string_view name, const char* data, std::uint64_t size)
{
    mEntries.try_emplace(std::string(name), EmbeddedResource{std::string(name), data, size});
}

const EmbeddedResource* EmbeddedResourceGroup::FindResource(const std::string& name) const
{
    const auto found = mEntries.find(name);
    return found == mEntries.end() ? nullptr : &found->second;
}

EmbeddedResources& EmbeddedResources::sGet()
{
    static EmbeddedResources resources = [] {
        EmbeddedResources filled;
        EmbeddedResourceGroup& group = filled.GetGroup("Renderer");
        for (const EmbeddedText& shader : gGetEmbeddedShaders())
        {
            group.RegisterResource(shader.mName, shader.mText.data(), shader.mText.size());
        }
        return filled;
    }();
    return resources;
}

EmbeddedResource EmbeddedResources::FindResource(std::string_view fullName) const
{
    EmbeddedResource resource;
    if (const std::size_t slash = fullName.find('/'); slash != std::string_view::npos)
    {
        const auto group = mGroups.find(std::string(fullName.substr(0, slash)));
        if (group != mGroups.end())
        {
            if (const EmbeddedResource* entry = group->second.FindResource(std::string(fullName.substr(slash + 1))))
            {
                resource = *entry;
            }
        }
    }
    resource.mName = fullName;
    return resource;
}
}
