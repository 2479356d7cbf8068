#pragma once

namespace Importers
{
struct ChromeEvent;

/// Takes the entries of a trace one by one, in the order of the text.
class EntryTarget
{
public:
    virtual ~EntryTarget() = default;

    /// The event and its texts live during the call.
    virtual void OnEntry(const ChromeEvent& event) = 0;
};
}
