#include "ProfilerLib/session/InstrumentationDatabase.h"

#include "Utility/Hash.h"
#include "Utility/Text.h"

namespace Profiler
{

namespace
{

bool EqualsIgnoreCase(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && Utility::gStartsWith(a, b, false);
}

}

uint64_t InstrumentationDatabase::AddEvent(uint64_t id, std::string_view name, std::string_view context)
{
    // What was read from a file is in the map alone, so the map has the last word.
    if (mKnownEvents.Add(id))
        mInstrumentationIDs.Add(id, name);
    if (context.empty())
        return cNoContext;
    const uint64_t contextID = Utility::gXXH64(context);
    if (mKnownContexts.Add(contextID))
        mContextIDs.Add(contextID, context);
    return contextID;
}

const std::string& InstrumentationDatabase::GetEventName(uint64_t id) const
{
    return sFind(mInstrumentationIDs, id);
}

const std::string& InstrumentationDatabase::GetContext(uint64_t id) const
{
    return sFind(mContextIDs, id);
}

void InstrumentationDatabase::FindEventsByName(
    std::string_view name, std::vector<InstrumentationSearchResult>& results) const
{
    for (const auto& [id, eventName] : mInstrumentationIDs.GetTexts())
        if (EqualsIgnoreCase(eventName, name))
            results.push_back({eventName, id, true});
}

void InstrumentationDatabase::FindEventsContaining(
    std::string_view text, std::vector<InstrumentationSearchResult>& results) const
{
    for (const auto& [id, eventName] : mInstrumentationIDs.GetTexts())
        if (Utility::gContainsIgnoreCase(eventName, text))
            results.push_back({eventName, id, true});
}

const std::string& InstrumentationDatabase::sFind(const TextMap& texts, uint64_t id)
{
    static const std::string sNone;
    const auto found = texts.GetTexts().find(id);
    return found == texts.GetTexts().end() ? sNone : found->second;
}

}
