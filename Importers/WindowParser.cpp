#include "Importers/WindowParser.h"

#include "Importers/EventParser.h"

#include <utility>

namespace Importers
{
const char* WindowParser::Read(std::span<const char> text, EntryTarget& target)
{
    mText = text;
    JsonScanner scanner(*this);
    EventParser events(scanner, mRoom);
    const char* end = nullptr;
    bool isEnd = false;
    while (!isEnd && scanner.Peek() >= 0 && events.Read() && events.GetFaults().empty())
    {
        const char* const cursor = scanner.GetCursor();
        const int next = scanner.Peek();
        if (next != ',' && next != ']')
        {
            break;
        }
        target.OnEntry(events.GetEvent());
        end = cursor;
        isEnd = next == ']';
        scanner.Take();
    }
    return end;
}

/// The text, and then nothing.
std::span<const char> WindowParser::NextWindow()
{
    return std::exchange(mText, {});
}
}
