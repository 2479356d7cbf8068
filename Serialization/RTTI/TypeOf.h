#pragma once

#include <array>
#include <bit>
#include <cassert>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>

#include "Serialization/RTTI/Describe.h"
#include "Serialization/RTTI/TypeInfo.h"
#include "Serialization/RTTI/TypeNames.h"

/// From a C++ type to its handle, at compile time: `gTypeOf<T>()`.
namespace RTTI
{

template <class T>
struct TypeRecord;

/// The handle of `T` in this image. Not constexpr: a compiler that folds the call inside the body of a class would need
/// descriptions that stand further down in it.
template <class T>
const TypeHandle& gTypeOf()
{
    return TypeRecord<T>::sHandle;
}

template <class T>
void gCreateValue(UniqueTypedPtr& out)
{
    out = UniqueTypedPtr{gTypeOf<T>(), new T()};
}

template <class T>
void gDestroyValue(void* object)
{
    delete static_cast<T*>(object);
}

/// The number of elements as the records give it: -1 when there are more than it can say.
constexpr int32_t gGetCount(std::size_t size)
{
    return size <= static_cast<std::size_t>(std::numeric_limits<int32_t>::max()) ? static_cast<int32_t>(size) : -1;
}

/// Where the base `B` lies in a `T`. Read off the conversion of a member pointer, so that no object is needed.
template <class T, class B>
std::ptrdiff_t gGetBaseOffset()
{
    const auto startOfBase = std::bit_cast<char B::*>(std::ptrdiff_t{0});
    char T::*const inObject = startOfBase;
    return std::bit_cast<std::ptrdiff_t>(inObject);
}

/// Whether a value can really be copied: a vector of pointers claims it too.
template <class T>
consteval bool gIsCopyable();

template <class... Fields>
consteval bool gAreFieldsCopyable(TypeList<Fields...>)
{
    return (gIsCopyable<typename Fields::Value>() && ...);
}

template <class T>
consteval bool gIsCopyable()
{
    if constexpr (Pointer<T>)
        return false;
    else if constexpr (Array<T>)
        return gIsCopyable<typename ArrayTraits<T>::Element>();
    else if constexpr (Map<T>)
        return gIsCopyable<typename MapTraits<T>::Key>() && gIsCopyable<typename MapTraits<T>::Value>();
    else if constexpr (Primitive<T> || Enumeration<T>)
        return true;
    else
        return std::is_copy_constructible_v<T> && std::is_copy_assignable_v<T> &&
               gAreFieldsCopyable(typename std::remove_const_t<decltype(DescriptionOf<T>::Value)>::FieldList{});
}

/// The record of a class: its bases and properties, with the chain fields that `Finalize` sets.
template <class T>
struct CompoundDetails
{
    using Description = std::remove_const_t<decltype(DescriptionOf<T>::Value)>;
    using BaseType = typename Description::BaseType;
    static constexpr bool cCreatable =
        Description::cCreatable && std::is_default_constructible_v<T> && !std::is_abstract_v<T>;

    template <class... Fields>
    static auto sMakeProperties(TypeList<Fields...>)
    {
        std::array<Property, sizeof...(Fields)> properties{};
        [[maybe_unused]] std::size_t i = 0;
        ((properties[i] = {DescriptionOf<T>::Value.FieldNames[i], &gTypeOf<typename Fields::Value>(),
              Fields::sGetOffset()},
             ++i),
            ...);
        return properties;
    }

    static auto sMakeBases()
    {
        if constexpr (std::is_void_v<BaseType>)
            return std::array<const TypeHandle*, 0>{};
        else
        {
            // Offsets of inherited properties and untyped pointers to a base both rely on this.
            assert((gGetBaseOffset<T, BaseType>() == 0));
            return std::array<const TypeHandle*, 1>{&gTypeOf<BaseType>()};
        }
    }

    inline static const auto sProperties = sMakeProperties(typename Description::FieldList{});
    inline static const auto sBases = sMakeBases();
    inline static constinit CompoundInfo sDetails{
        .Bases = sBases.data(),
        .NumBases = static_cast<int32_t>(sBases.size()),
        .Properties = sProperties.data(),
        .NumProperties = static_cast<int32_t>(sProperties.size()),
        .Version = DescriptionOf<T>::Value.Number,
    };
};

template <class T>
struct PrimitiveDetails
{
    static constexpr bool cCreatable = true;
    inline static constinit PrimitiveInfo sDetails{.IsPlainData = !std::is_same_v<T, std::string>};
};

template <class T>
struct EnumDetails
{
    using Description = std::remove_const_t<decltype(DescriptionOf<T>::Value)>;
    static constexpr bool cCreatable = true;
    inline static constinit EnumInfo sDetails{
        .Values = DescriptionOf<T>::Value.Values.data(),
        .NumValues = static_cast<int32_t>(DescriptionOf<T>::Value.Values.size()),
        .Underlying = &TypeRecord<typename Description::Underlying>::sHandle,
    };
};

template <class T>
struct ArrayDetails
{
    using Element = typename ArrayTraits<T>::Element;
    static_assert(!std::is_same_v<Element, bool>, "there is no array of bool");
    static constexpr bool cCreatable = true;
    inline static constinit ArrayInfo sDetails{
        .Element = &TypeRecord<Element>::sHandle,
        .Size = [](const void* array) { return gGetCount(static_cast<const T*>(array)->size()); },
        .At = [](void* array, int32_t index) -> void* {
            return &(*static_cast<T*>(array))[static_cast<std::size_t>(index)];
        },
        .Data = [](void* array) -> void* { return static_cast<T*>(array)->data(); },
        .Resize = [](void* array, int32_t count) { static_cast<T*>(array)->resize(static_cast<std::size_t>(count)); },
    };
};

/// The cursor over one map type.
template <class M>
class TypedMapIterator final : public MapIterator
{
public:
    explicit TypedMapIterator(M& map) : mPosition{map.begin()}, mEnd{map.end()} {}

    bool IsAtEnd() const override { return mPosition == mEnd; }

    Entry Next() override
    {
        // The key is const in its map; no reader of an entry writes through it.
        using Key = typename MapTraits<M>::Key;
        Entry entry{{&gTypeOf<Key>(), const_cast<Key*>(&mPosition->first)},
            {&gTypeOf<typename MapTraits<M>::Value>(), &mPosition->second}};
        ++mPosition;
        return entry;
    }

private:
    typename M::iterator mPosition;
    typename M::iterator mEnd;
};

template <class T>
struct MapDetails
{
    using Key = typename MapTraits<T>::Key;
    using Value = typename MapTraits<T>::Value;
    static constexpr bool cCreatable = true;

    static constexpr auto sGetInsert()
    {
        using Function = void (*)(void*, const void*, const void*);
        if constexpr (gIsCopyable<Value>())
            return Function{[](void* map, const void* key, const void* value) {
                static_cast<T*>(map)->insert_or_assign(
                    *static_cast<const Key*>(key), *static_cast<const Value*>(value));
            }};
        else
            return Function{nullptr};
    }

    inline static constinit MapInfo sDetails{
        .Key = &TypeRecord<Key>::sHandle,
        .Value = &TypeRecord<Value>::sHandle,
        .Size = [](const void* map) { return gGetCount(static_cast<const T*>(map)->size()); },
        .Reserve = [](void* map, int32_t count) { static_cast<T*>(map)->reserve(static_cast<std::size_t>(count)); },
        .Get = [](void* map, const void* key) -> void* {
            return &(*static_cast<T*>(map))[*static_cast<const Key*>(key)];
        },
        .Insert = sGetInsert(),
        .CreateIterator = [](void* map) -> std::unique_ptr<MapIterator> {
            if constexpr (requires(T & entries) { entries.CreateIterator(); })
                return static_cast<T*>(map)->CreateIterator();
            else
                return std::make_unique<TypedMapIterator<T>>(*static_cast<T*>(map));
        },
    };
};

template <class T>
struct PointerDetails
{
    using Pointee = typename PointerTraits<T>::Pointee;
    static constexpr bool cCreatable = true;

    static TypedPtr sGet(const void* pointer)
    {
        Pointee* object = static_cast<const T*>(pointer)->get();
        if (object == nullptr)
            return {};
        if constexpr (std::derived_from<Pointee, Object>)
            return {&object->GetType(), object};
        else
            return {&gTypeOf<Pointee>(), object};
    }

    inline static constinit PointerInfo sDetails{
        .Pointee = &TypeRecord<Pointee>::sHandle,
        .Move = [](void* target, void* source) { *static_cast<T*>(target) = std::move(*static_cast<T*>(source)); },
        .Reset = [](void* target, void* object) { static_cast<T*>(target)->reset(static_cast<Pointee*>(object)); },
        .Get = &sGet,
    };
};

template <class T>
struct KindOf
{
    static constexpr EDataType cDataType = EDataType::Compound;
    using Details = CompoundDetails<T>;
};
template <Primitive T>
struct KindOf<T>
{
    static constexpr EDataType cDataType = EDataType::Primitive;
    using Details = PrimitiveDetails<T>;
};
template <Enumeration T>
struct KindOf<T>
{
    static constexpr EDataType cDataType = EDataType::Enum;
    using Details = EnumDetails<T>;
};
template <Array T>
struct KindOf<T>
{
    static constexpr EDataType cDataType = EDataType::Array;
    using Details = ArrayDetails<T>;
};
template <Map T>
struct KindOf<T>
{
    static constexpr EDataType cDataType = EDataType::Map;
    using Details = MapDetails<T>;
};
template <Pointer T>
struct KindOf<T>
{
    static constexpr EDataType cDataType = EDataType::Pointer;
    using Details = PointerDetails<T>;
};

/// Everything there is about one type. `sInfo` is written by `TypeRegistry::Finalize` alone.
template <class T>
struct TypeRecord
{
    using Details = typename KindOf<T>::Details;

    static constexpr auto sGetCreate()
    {
        using Function = void (*)(UniqueTypedPtr&);
        if constexpr (Details::cCreatable)
            return Function{&gCreateValue<T>};
        else
            return Function{nullptr};
    }

    inline static constinit TypeInfo sInfo{
        .Name = TypeName<T>::Value.Data,
        .Size = static_cast<int32_t>(sizeof(T)),
        .DataType = KindOf<T>::cDataType,
        .Create = sGetCreate(),
        .Destroy = &gDestroyValue<T>,
    };
    static constexpr TypeHandle sHandle{&sInfo, &Details::sDetails};
};

/// The kind's record of a handle. The caller has looked at the data type.
inline const CompoundInfo& gGetCompound(const TypeHandle& type)
{
    return *static_cast<const CompoundInfo*>(type.Details);
}
inline const PrimitiveInfo& gGetPrimitive(const TypeHandle& type)
{
    return *static_cast<const PrimitiveInfo*>(type.Details);
}
inline const EnumInfo& gGetEnum(const TypeHandle& type)
{
    return *static_cast<const EnumInfo*>(type.Details);
}
inline const ArrayInfo& gGetArray(const TypeHandle& type)
{
    return *static_cast<const ArrayInfo*>(type.Details);
}
inline const MapInfo& gGetMap(const TypeHandle& type)
{
    return *static_cast<const MapInfo*>(type.Details);
}
inline const PointerInfo& gGetPointer(const TypeHandle& type)
{
    return *static_cast<const PointerInfo*>(type.Details);
}

}
