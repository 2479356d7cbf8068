#pragma once

#include <functional>
#include <unordered_map>

#include "Serialization/RTTI/TypeInfo.h"
#include "Serialization/RTTI/TypeOf.h"

namespace RTTI
{

/// Makes objects by type. What needs context of its reader (a session, a plug-in) is given a function here; everything
/// else is default-constructed. Made for one read, by its reader, and not shared between threads.
class ObjectFactory
{
public:
    using Function = std::function<UniqueTypedPtr()>;

    void SetFactory(const TypeHandle* type, Function function);

    /// Sets the factory of `T` to one that gives `std::unique_ptr<T>`.
    template <class T, class F>
    void SetFactory(F make)
    {
        SetFactory(&gTypeOf<T>(), [make] {
            std::unique_ptr<T> object = make();
            return UniqueTypedPtr{gTypeOf<T>(), object.release()};
        });
    }

    /// Null when the type has neither a factory nor a default: a file that names such a type is refused by its reader.
    UniqueTypedPtr Create(const TypeHandle* type) const;

private:
    std::unordered_map<const TypeHandle*, Function> mFunctions;
};

}
