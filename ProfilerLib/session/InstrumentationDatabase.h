#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ProfilerLib/session/InstrumentationSearchResult.h"
#include "ProfilerLib/session/KnownIDs.h"
#include "Serialization/RTTI/TypeOf.h"

namespace Profiler
{

/// The names and context texts of instrumentation events by their identifiers. A member of its session; one thread adds
/// and then any thread may ask: there is no lock.
class InstrumentationDatabase
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<InstrumentationDatabase>("Profiler::InstrumentationDatabase", RTTI::Version{2},
            RTTI::Field<&InstrumentationDatabase::mInstrumentationIDs>{"InstrumentationIDs"},
            RTTI::Field<&InstrumentationDatabase::mContextIDs>{"ContextIDs"});
    }

public:
    static constexpr uint64_t cNoContext = ~uint64_t{0};

    /// Enters an event's name, and its context unless that is empty. An identifier that is already there keeps its
    /// text. Returns the context's identifier, the XXH64 of its bytes, or `cNoContext`. Copies only what is new.
    uint64_t AddEvent(uint64_t id, std::string_view name, std::string_view context);

    /// The same in two parts, for one who has the context's identifier already and enters most texts once.
    void AddName(uint64_t id, std::string_view name) { mInstrumentationIDs.try_emplace(id, name); }
    void AddContext(uint64_t contextID, std::string_view context)
    {
        if (mKnownContexts.Add(contextID))
            mContextIDs.try_emplace(contextID, context);
    }
    /// Makes room for that many in all.
    void Reserve(std::size_t numEvents, std::size_t numContexts);

    /// The identifier should be one that was added; any other, which only a damaged capture can hold, gives an empty
    /// text. The reference lives as long as the database.
    const std::string& GetEventName(uint64_t id) const;
    const std::string& GetContext(uint64_t id) const;

    /// Append the events whose name is, or contains, the given one; the case of ASCII letters does not count. In no
    /// particular order.
    void FindEventsByName(std::string_view name, std::vector<InstrumentationSearchResult>& results) const;
    void FindEventsContaining(std::string_view text, std::vector<InstrumentationSearchResult>& results) const;

    std::size_t GetNumEvents() const { return mInstrumentationIDs.size(); }
    std::size_t GetNumContexts() const { return mContextIDs.size(); }

private:
    using TextByID = std::unordered_map<uint64_t, std::string>;

    static const std::string& sFind(const TextByID& texts, uint64_t id);

    TextByID mInstrumentationIDs;
    TextByID mContextIDs;

    // What the `Add` operations have entered.
    KnownIDs mKnownEvents;
    KnownIDs mKnownContexts;
};

}
