#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Serialization/RTTI/Describe.h"

/// The names of types, made at compile time. They are stored in every file, so the rules here are part of the formats.
namespace RTTI
{

/// Text of a length known at compile time, with its terminator.
template <std::size_t N>
struct FixedString
{
    char Data[N + 1] = {};

    constexpr FixedString() = default;
    consteval FixedString(const char (&text)[N + 1]) { std::copy_n(text, N, Data); }

    constexpr std::string_view View() const { return {Data, N}; }
};

template <std::size_t N>
FixedString(const char (&)[N]) -> FixedString<N - 1>;

template <std::size_t... Ns>
consteval auto gConcatenate(const FixedString<Ns>&... parts)
{
    FixedString<(Ns + ...)> result;
    char* end = result.Data;
    ((end = std::copy_n(parts.Data, Ns, end)), ...);
    return result;
}

template <FixedString N>
struct NameConstant
{
    static constexpr auto Value = N;
};

template <class T>
struct PrimitiveName;

template <>
struct PrimitiveName<uint8_t> : NameConstant<"uint8_t">
{};
template <>
struct PrimitiveName<int8_t> : NameConstant<"int8_t">
{};
template <>
struct PrimitiveName<uint16_t> : NameConstant<"uint16_t">
{};
template <>
struct PrimitiveName<int16_t> : NameConstant<"int16_t">
{};
template <>
struct PrimitiveName<uint32_t> : NameConstant<"uint32_t">
{};
template <>
struct PrimitiveName<int32_t> : NameConstant<"int32_t">
{};
template <>
struct PrimitiveName<uint64_t> : NameConstant<"uint64_t">
{};
template <>
struct PrimitiveName<int64_t> : NameConstant<"int64_t">
{};
template <>
struct PrimitiveName<bool> : NameConstant<"bool">
{};
template <>
struct PrimitiveName<float> : NameConstant<"float">
{};
template <>
struct PrimitiveName<double> : NameConstant<"double">
{};
template <>
struct PrimitiveName<std::string> : NameConstant<"std::string">
{};

template <class T>
concept Primitive = requires
{
    PrimitiveName<T>::Value;
};

template <class T>
concept Enumeration = std::is_enum_v<T>;

template <class T>
struct ArrayTraits
{
    static constexpr bool cIsArray = false;
};
template <class E>
struct ArrayTraits<std::vector<E>>
{
    static constexpr bool cIsArray = true;
    using Element = E;
};
template <class T>
concept Array = ArrayTraits<T>::cIsArray;

template <class T>
struct MapTraits
{
    static constexpr bool cIsMap = false;
};
template <class K, class V, class H, class Q>
struct MapTraits<std::unordered_map<K, V, H, Q>>
{
    static constexpr bool cIsMap = true;
    using Key = K;
    using Value = V;
};
template <class T>
concept Map = MapTraits<T>::cIsMap;

template <class T>
struct PointerTraits
{
    static constexpr bool cIsPointer = false;
};
template <class P>
struct PointerTraits<std::unique_ptr<P>>
{
    static constexpr bool cIsPointer = true;
    using Pointee = P;
};
template <class T>
concept Pointer = PointerTraits<T>::cIsPointer;

/// Specialised with a `Value` for an array or map that is declared through an alias: its stored name spells the alias.
template <class T>
struct DeclaredName
{};

/// The description of a class or enumeration, as a constant.
template <class T>
struct DescriptionOf
{
    static constexpr auto Value = Access::sDescribe<T>();
};
template <Enumeration T>
struct DescriptionOf<T>
{
    static constexpr auto Value = gDescribe(EnumTag<T>{});
};

template <class T>
consteval auto gDescribedName()
{
    constexpr const char* name = DescriptionOf<T>::Value.Name;
    FixedString<std::char_traits<char>::length(name)> result;
    std::copy_n(name, std::char_traits<char>::length(name), result.Data);
    return result;
}

/// How a type is written inside the name of another.
template <class T>
consteval auto gSpelling()
{
    if constexpr (Primitive<T>)
        return PrimitiveName<T>::Value;
    else if constexpr (Pointer<T>)
        return gConcatenate(
            FixedString{"std::unique_ptr<"}, gSpelling<typename PointerTraits<T>::Pointee>(), FixedString{">"});
    else if constexpr (Array<T>)
        return gConcatenate(
            FixedString{"std::vector<"}, gSpelling<typename ArrayTraits<T>::Element>(), FixedString{">"});
    else
        return gDescribedName<T>();
}

template <class T>
consteval auto gMakeTypeName()
{
    if constexpr (requires { DeclaredName<T>::Value; })
        return DeclaredName<T>::Value;
    else if constexpr (Array<T>)
        return gConcatenate(FixedString{"Array_"}, gSpelling<typename ArrayTraits<T>::Element>());
    else if constexpr (Map<T>)
        return gConcatenate(FixedString{"Map_"}, gSpelling<typename MapTraits<T>::Key>(), FixedString{"_To_"},
            gSpelling<typename MapTraits<T>::Value>());
    else if constexpr (Pointer<T>)
        return gConcatenate(FixedString{"UniquePtr_"}, gMakeTypeName<typename PointerTraits<T>::Pointee>());
    else
        return gSpelling<T>();
}

/// The stored name of a type.
template <class T>
struct TypeName
{
    static constexpr auto Value = gMakeTypeName<T>();
};

}
