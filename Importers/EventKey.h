#pragma once

#include <cstdint>
#include <string_view>

namespace Importers
{
/// The members of an event that an import looks at.
enum class EEventKey : std::uint8_t
{
    Other,
    Phase,
    Name,
    Category,
    Time,
    Duration,
    Process,
    Thread,
    ID,
    SplitID,
    Arguments,
};

inline EEventKey gFindEventKey(std::string_view text)
{
    switch (text.size())
    {
    case 2:
        return text == "ts"   ? EEventKey::Time
               : text == "ph" ? EEventKey::Phase
               : text == "id" ? EEventKey::ID
                              : EEventKey::Other;
    case 3:
        return text == "pid"   ? EEventKey::Process
               : text == "tid" ? EEventKey::Thread
               : text == "dur" ? EEventKey::Duration
               : text == "cat" ? EEventKey::Category
               : text == "id2" ? EEventKey::SplitID
                               : EEventKey::Other;
    case 4:
        return text == "name" ? EEventKey::Name : text == "args" ? EEventKey::Arguments : EEventKey::Other;
    default:
        return EEventKey::Other;
    }
}
}
