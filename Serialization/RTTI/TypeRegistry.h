#pragma once

#include <cstdint>
#include <map>
#include <string_view>

#include "Serialization/RTTI/TypeInfo.h"

namespace RTTI
{

/// All registered types of all images, by owner and name. The host owns the one registry; each image enters its types
/// inside an owner scope, and the host calls `Finalize` once when all have. Registration and `Finalize` are for one
/// thread; after that everything may be read from any thread.
class TypeRegistry
{
public:
    /// Sets the owner of what is registered while it lives.
    class OwnerScope
    {
    public:
        OwnerScope(const OwnerScope&) = delete;
        OwnerScope& operator=(const OwnerScope&) = delete;
        ~OwnerScope() { mRegistry.mCurrentOwnerID = cNoOwner; }

    private:
        friend class TypeRegistry;
        OwnerScope(TypeRegistry& registry, uint64_t ownerID) : mRegistry{registry}
        {
            mRegistry.mCurrentOwnerID = ownerID;
        }

        TypeRegistry& mRegistry;
    };

    static constexpr uint64_t cNoOwner = ~uint64_t{0};

    [[nodiscard]] OwnerScope BeginRegistration(uint64_t ownerID) { return {*this, ownerID}; }

    /// Enters a type and all it reaches through bases, properties, elements, keys, values and declared pointees. A
    /// class that is reached only through a pointer to its base has to be registered itself.
    void Register(const TypeHandle& type);

    /// Looks a type of the *calling* image up by its exact name; null when that image registered none.
    const TypeHandle* FindType(std::string_view name) const;

    /// Sets hashes, version chains and class indices in all records.
    void Finalize();

    uint64_t GetCurrentOwnerID() const { return mCurrentOwnerID; }

private:
    using TypesByName = std::map<std::string_view, const TypeHandle*>;

    std::map<uint64_t, TypesByName> mTypes;
    uint64_t mCurrentOwnerID = cNoOwner;
};

/// Registers the twelve primitives.
void gRegisterTypes(TypeRegistry& registry);

}
