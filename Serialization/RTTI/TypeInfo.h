#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

/// Run-time types. Each C++ type that is stored has one constant record, a `TypeInfo` beside a record of its kind, and
/// one `TypeHandle` that joins the two. The records exist from program start; `TypeRegistry::Finalize` fills in what
/// depends on the set of registered types (hashes, indices, version chains). Before that nothing can be written.
namespace RTTI
{

struct TypeHandle;
class Object;
class UniqueTypedPtr;

/// The kind of a type. The numbers are stored in files.
enum class EDataType : uint8_t
{
    Compound = 0,  ///< a class or struct with properties
    Primitive = 1, ///< one of the twelve built-in types
    Enum = 2,      ///< an enumeration with named values
    Array = 3,     ///< a `std::vector`
    Map = 4,       ///< a `std::unordered_map`
    Pointer = 5,   ///< a `std::unique_ptr`
};

inline constexpr uint64_t cUnknownHash = ~uint64_t{0};

/// What all kinds have in common. `Name` is the identity of the type in every file, so it is a literal and never
/// derived from the compiler's spelling.
struct TypeInfo
{
    const char* Name;
    int32_t Size;                     ///< bytes of a value in memory
    uint64_t OwnerID = cUnknownHash;  ///< the image that registered it; set by Finalize
    uint64_t TypeHash = cUnknownHash; ///< XXH64 of name and size; set by Finalize
    EDataType DataType;
    void (*Create)(UniqueTypedPtr& out); ///< default-constructs one value; null when the class cannot be
    void (*Destroy)(void* object);       ///< destroys and frees what `Create` made
};

/// What is passed around for a type. One constant handle per type and image.
struct TypeHandle
{
    const TypeInfo* Info;
    const void* Details; ///< the record of the kind: `CompoundInfo`, `EnumInfo`, ...

    EDataType GetDataType() const { return Info->DataType; }
    std::string_view GetName() const { return Info->Name; }
};

/// A value of any registered type, not owned.
struct TypedPtr
{
    const TypeHandle* Type = nullptr;
    void* Object = nullptr;
};

/// A value of any registered type, owned: freed through its type's `Destroy`.
class UniqueTypedPtr
{
public:
    UniqueTypedPtr() = default;
    UniqueTypedPtr(const TypeHandle& type, void* object) : mType{&type}, mObject{object} {}
    UniqueTypedPtr(UniqueTypedPtr&& other) noexcept : mType{other.mType}, mObject{other.Release()} {}
    ~UniqueTypedPtr() { Destroy(); }

    UniqueTypedPtr& operator=(UniqueTypedPtr&& other) noexcept
    {
        if (this != &other)
        {
            Destroy();
            mType = other.mType;
            mObject = other.Release();
        }
        return *this;
    }

    const TypeHandle* GetType() const { return mType; }
    void* Get() const { return mObject; }
    TypedPtr GetTyped() const { return {mType, mObject}; }
    explicit operator bool() const { return mObject != nullptr; }

    /// Gives the value up: the caller frees it.
    [[nodiscard]] void* Release() noexcept
    {
        void* object = mObject;
        mObject = nullptr;
        return object;
    }

private:
    void Destroy() noexcept
    {
        if (mObject != nullptr)
            mType->Info->Destroy(mObject);
    }

    const TypeHandle* mType = nullptr;
    void* mObject = nullptr;
};

/// One stored member of a class. The name is a key of the file formats.
struct Property
{
    const char* Name;
    const TypeHandle* Type;
    uint64_t Offset; ///< bytes from the start of the object that declares it

    void* GetAddress(void* object) const { return static_cast<std::byte*>(object) + Offset; }
};

/// Details of a `Compound`. Properties are the class's own, in declared order, which is the stored order.
struct CompoundInfo
{
    const TypeHandle* const* Bases;
    int32_t NumBases; ///< 0 or 1; the base lies at the start of the object
    const Property* Properties;
    int32_t NumProperties;
    int32_t Version;
    uint64_t FullVersion = cUnknownHash; ///< hash of the versions from the root class down; set by Finalize
    int32_t ClassIndex = -1;             ///< pre-order place in the class forest; set by Finalize
    int32_t NumDescendants = -1;         ///< classes below this one; set by Finalize
};

/// Details of a `Primitive`.
struct PrimitiveInfo
{
    bool IsPlainData; ///< arrays of it are copied as one block
};

struct EnumValue
{
    const char* Name;
    uint64_t Value; ///< signed values are sign-extended
};

/// Details of an `Enum`. The underlying type decides how a value is read and stored; it may be narrower than the size.
struct EnumInfo
{
    const EnumValue* Values;
    int32_t NumValues;
    const TypeHandle* Underlying;
};

/// Details of an `Array`. The first argument of each function is the `std::vector`.
struct ArrayInfo
{
    const TypeHandle* Element;
    int32_t (*Size)(const void* array); ///< -1 when the count does not fit
    void* (*At)(void* array, int32_t index);
    void* (*Data)(void* array);
    void (*Resize)(void* array, int32_t count);
};

/// A forward cursor over a map, valid while the map is not changed.
class MapIterator
{
public:
    struct Entry
    {
        TypedPtr Key;
        TypedPtr Value;
    };

    virtual ~MapIterator() = default;
    virtual bool IsAtEnd() const = 0;

    /// The current entry, valid until the next call; moves on.
    virtual Entry Next() = 0;
};

/// Details of a `Map`. The first argument of each function is the `std::unordered_map`, or what has `MapTraits` as one.
struct MapInfo
{
    const TypeHandle* Key;
    const TypeHandle* Value;
    int32_t (*Size)(const void* map); ///< -1 when the count does not fit
    void (*Reserve)(void* map, int32_t count);
    void* (*Get)(void* map, const void* key);                      ///< inserts a default value for a new key
    void (*Insert)(void* map, const void* key, const void* value); ///< null when the value type cannot be copied
    std::unique_ptr<MapIterator> (*CreateIterator)(void* map);
};

/// Details of a `Pointer`. `target`, `source` and `pointer` are `std::unique_ptr`s.
struct PointerInfo
{
    const TypeHandle* Pointee;
    void (*Move)(void* target, void* source);
    void (*Reset)(void* target, void* object); ///< takes ownership of `object`
    TypedPtr (*Get)(const void* pointer); ///< the dynamic type where the pointee is an `Object`; two nulls for null
};

/// Base of every polymorphic stored class, and of everything that can be a root of a file. It must be the first base,
/// so that it lies at the start of the object.
class Object
{
    friend struct Access;
    static consteval auto sDescribe();

public:
    virtual ~Object() = default;

    /// The handle of the object's own class, in the image that made it.
    virtual const TypeHandle& GetType() const = 0;

protected:
    Object() = default;
    Object(const Object&) = default;
    Object(Object&&) = default;
    Object& operator=(const Object&) = default;
    Object& operator=(Object&&) = default;
};

}
