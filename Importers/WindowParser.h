#pragma once

#include "Importers/EntryTarget.h"
#include "Importers/JsonScanner.h"
#include "Importers/TextRoom.h"

#include <span>

namespace Importers
{
/// Reads the entries of a trace that stand whole in a piece of its text, ahead of the ChromeTraceParser and beside
/// others of its kind: it knows nothing of what is in front, and notes no fault. One thread.
class WindowParser final : private WindowSource
{
public:
    /// Gives each entry of the text to `target`, up to the first one that is not whole with what separates it from the
    /// next, or that has a fault. The text, which has the padding of a TraceWindow behind it, should begin with an
    /// entry. Gives the end of the last one, or null when there is none.
    const char* Read(std::span<const char> text, EntryTarget& target);

private:
    std::span<const char> NextWindow() override;

    std::span<const char> mText;
    TextRoom mRoom;
};
}
