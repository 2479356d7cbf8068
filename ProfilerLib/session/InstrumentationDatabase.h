#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ProfilerLib/session/InstrumentationSearchResult.h"
#include "ProfilerLib/session/KnownIDs.h"
#include "ProfilerLib/session/TextMap.h"
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

    /// The same in two parts, for one who keeps the contexts and has their identifiers. All contexts are lent at once,
    /// to a database that has none: see TextMap.
    void AddName(uint64_t id, std::string_view name) { mInstrumentationIDs.Add(id, name); }
    void LendContexts(LentTexts& contexts) { mContextIDs.Lend(contexts); }
    /// Has lent contexts no longer, unless one was asked for.
    void ForgetLentContexts() { mContextIDs.ForgetLent(); }

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
    static const std::string& sFind(const TextMap& texts, uint64_t id);

    TextMap mInstrumentationIDs;
    TextMap mContextIDs;

    // What the `Add` operations have entered.
    KnownIDs mKnownEvents;
    KnownIDs mKnownContexts;
};

}
