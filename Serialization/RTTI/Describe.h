#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "Serialization/RTTI/TypeInfo.h"

/// How a class or an enumeration describes itself: once, in one place, as a constant.
///
///     class KeyMapping
///     {
///         friend struct RTTI::Access;
///         static consteval auto sDescribe()
///         {
///             return RTTI::gDescribe<KeyMapping>("Profiler::KeyMapping", RTTI::Version{1},
///                 RTTI::Field<&KeyMapping::mAction>{"Action"},
///                 RTTI::Field<&KeyMapping::mKey>{"Key"});
///         }
///     };
///
///     consteval auto gDescribe(RTTI::EnumTag<EAction>)      // in the namespace of the enumeration
///     {
///         return RTTI::gDescribeEnum<EAction>("Profiler::EAction", {{"Zoom", EAction::Zoom}, {"Pan", EAction::Pan}});
///     }
///
/// The order of the fields is the stored order and free of the member order; a class lists its own members only.
namespace RTTI
{

struct Version
{
    int32_t Number;
};

/// Names the one direct base, between the version and the fields.
template <class B>
struct Base
{};

/// Marks a class whose values are never made by name, although C++ could.
struct NoCreate
{};

template <class M>
struct MemberTraits;

template <class C, class V>
struct MemberTraits<V C::*>
{
    using Class = C;
    using Value = V;
};

/// A stored member.
template <auto M>
struct Field
{
    using Class = typename MemberTraits<decltype(M)>::Class;
    using Value = typename MemberTraits<decltype(M)>::Value;

    const char* Name;

    /// A pointer to data member is the member's offset in the ABI of every compiler that this builds with.
    static uint64_t sGetOffset() { return static_cast<uint64_t>(std::bit_cast<std::ptrdiff_t>(M)); }
};

template <class... Ts>
struct TypeList
{};

template <class T, class B, bool Creatable, class... Fields>
struct CompoundDescription
{
    static_assert((std::is_same_v<typename Fields::Class, T> && ...), "list own members only: the base lists its own");

    using Type = T;
    using BaseType = B; ///< void for none
    using FieldList = TypeList<Fields...>;
    static constexpr bool cCreatable = Creatable;
    static constexpr std::size_t cNumFields = sizeof...(Fields);

    const char* Name;
    int32_t Number;
    std::array<const char*, sizeof...(Fields)> FieldNames;
};

template <class T, auto... Ms>
consteval auto gDescribe(const char* name, Version version, Field<Ms>... fields)
{
    return CompoundDescription<T, void, true, Field<Ms>...>{name, version.Number, {fields.Name...}};
}

template <class T, class B, auto... Ms>
consteval auto gDescribe(const char* name, Version version, Base<B>, Field<Ms>... fields)
{
    static_assert(std::is_base_of_v<B, T>);
    return CompoundDescription<T, B, true, Field<Ms>...>{name, version.Number, {fields.Name...}};
}

template <class T, auto... Ms>
consteval auto gDescribe(const char* name, Version version, NoCreate, Field<Ms>... fields)
{
    return CompoundDescription<T, void, false, Field<Ms>...>{name, version.Number, {fields.Name...}};
}

template <class T, class B, auto... Ms>
consteval auto gDescribe(const char* name, Version version, Base<B>, NoCreate, Field<Ms>... fields)
{
    static_assert(std::is_base_of_v<B, T>);
    return CompoundDescription<T, B, false, Field<Ms>...>{name, version.Number, {fields.Name...}};
}

/// Selects the description of an enumeration by argument-dependent lookup.
template <class E>
struct EnumTag
{};

template <class E>
struct Enumerator
{
    const char* Name;
    E Value;
};

/// `U` is the type that a value is read and stored as; by default the language's underlying type.
template <class E, class U, std::size_t N>
struct EnumDescription
{
    static_assert(sizeof(U) <= sizeof(E), "a value cannot be read wider than it is");

    using Underlying = U;

    const char* Name;
    std::array<EnumValue, N> Values;
};

template <class E, class U = std::underlying_type_t<E>, std::size_t N>
consteval auto gDescribeEnum(const char* name, const Enumerator<E> (&enumerators)[N])
{
    EnumDescription<E, U, N> description{name, {}};
    for (std::size_t i = 0; i < N; ++i)
        description.Values[i] = {
            enumerators[i].Name, static_cast<uint64_t>(static_cast<std::underlying_type_t<E>>(enumerators[i].Value))};
    return description;
}

template <class E, class U = std::underlying_type_t<E>>
consteval auto gDescribeEnum(const char* name)
{
    return EnumDescription<E, U, 0>{name, {}};
}

/// A class makes this its friend, so that its description may stay private.
struct Access
{
    template <class T>
    static consteval auto sDescribe()
    {
        return T::sDescribe();
    }
};

/// A class that describes itself.
template <class T>
concept Described = requires
{
    Access::sDescribe<T>();
};

consteval auto Object::sDescribe()
{
    return gDescribe<Object>("RTTI::Object", Version{1}, NoCreate{});
}

}
