#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "Serialization/RTTI/TypeOf.h"

namespace Profiler
{

/// Addresses, in the recorder's order.
using Callstack = std::vector<uint64_t>;
using CallstackKey = uint64_t;
using CallstackMap = std::unordered_map<Profiler::CallstackKey, std::unique_ptr<Callstack>>;

}

/// Key and value are declared through their aliases, and so they are spelled in the files.
template <>
struct RTTI::DeclaredName<Profiler::CallstackMap>
{
    static constexpr RTTI::FixedString Value{"Map_Profiler::CallstackKey_To_std::unique_ptr<Profiler::Callstack>"};
};

namespace Profiler
{

/// The stacks of a capture by their keys. A member of its session, which says which thread may use it: there is no
/// lock.
class CallstackDatabase
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<CallstackDatabase>("Profiler::CallstackDatabase", RTTI::Version{1},
            RTTI::Field<&CallstackDatabase::mStacksByID>{"StacksByID"});
    }

public:
    /// A key that is already there keeps its stack.
    void AddCallstack(CallstackKey key, Callstack callstack);

    /// Null for an unknown key. Valid as long as the database.
    const Callstack* FindCallstack(CallstackKey key) const;

    std::size_t GetSize() const { return mStacksByID.size(); }

private:
    CallstackMap mStacksByID; ///< a file may hold null for a stack
};

}
