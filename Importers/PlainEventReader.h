#pragma once

#include "Importers/ChromeEvent.h"
#include "Importers/EventKey.h"
#include "Importers/PlainValueReader.h"

#include <string_view>

namespace Importers
{
/// Reads events that stand whole in a window and are written as nearly all are. What is out of the
/// ordinary (a fault, an event that goes on in the next window, arguments beyond what a context may have) it leaves to
/// the EventParser, which then begins the event anew; what it reads it reads as that does, several times as fast.
class PlainEventReader
{
public:
    /// Reads the event whose '{' is at `cursor` into one that is empty. The window ends at `end`, with the padding of a
    /// TraceWindow behind it; `room` is that of a TextRoom. Gives what follows the event in the window, or null when it
    /// is not for this class: the event and the room then hold anything.
    static const char* sRead(const char* cursor, const char* end, char* room, ChromeEvent& event);

private:
    PlainEventReader(const char* end, char* room, ChromeEvent& event);

    // Each takes the place where something begins and gives that behind it, or null.
    const char* ReadMember(const char* cursor);
    const char* ReadValue(EEventKey key, const char* cursor);
    const char* ReadPhase(const char* cursor);
    const char* ReadTime(const char* cursor, EventTime& time);
    const char* ReadAnyTime(const char* cursor, EventTime& time);
    const char* ReadID(const char* cursor, TraceIDView& id);
    const char* ReadText(const char* cursor, EventText& text);
    const char* ReadStringOrNumber(const char* cursor, std::string_view& text);
    const char* ReadArguments(const char* cursor);
    const char* ReadArgument(const char* cursor);
    bool FinishContext();

    ChromeEvent& mEvent;
    PlainValueReader mValues;
    /// Where the text of the arguments begins, without "detail", whose value begins at mDetail.
    char* mOthers = nullptr;
    const char* mDetail = nullptr;
    bool mHasOthers = false;
};
}
