#pragma once

#include "Importers/TextTable.h"

#include <cstddef>

namespace Importers
{
/// The contexts of an arena that were sent, each once, in the order in which they lie there. They are taken one by one,
/// and the arena gives its memory back on the way: nothing else of it may be used from the first Take on.
class SentContexts
{
public:
    /// Nobody adds to the arena any more. It must outlive the object.
    explicit SentContexts(TextArena& arena);

    std::size_t GetNumLeft() const { return mNumLeft; }
    /// There is one left. It stays until the next one is taken.
    const StoredText& Take();

private:
    struct Place
    {
        std::size_t mBlock = 0;
        std::size_t mOffset = 0;
    };

    /// The text at the place, which moves behind it. Null at the end.
    StoredText* Step(Place& place) const;

    TextArena& mArena;
    Place mNext;
    std::size_t mNumLeft = 0;
};
}
