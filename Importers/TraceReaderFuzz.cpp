#include "Importers/TraceReader.h"

#include "Utility/Result.h"
#include "tests/support/FuzzTarget.h"

#include <algorithm>
#include <memory>
#include <span>
#include <vector>

namespace Importers
{
namespace
{
/// Enough to have filled every buffer several times; much more can come of a small compressed file.
constexpr std::size_t cMostText = std::size_t{4} << 20;
}
}

void Fuzz::gRunInput(Input input)
{
    using namespace Importers;

    static const ScratchFolder sFolder;
    Utility::Result result;
    const std::unique_ptr<TraceReader> reader = TraceReader::sOpen(sFolder.Write("trace", input), result);
    gCheck(reader != nullptr, "a file cannot be opened");
    gCheck(reader->GetFileSize() == input.size(), "the file has another size");

    std::vector<char> buffer(100'000);
    std::size_t textSize = 0;
    std::uint64_t position = 0;
    while (textSize <= cMostText)
    {
        const std::span<const char> window = std::span(buffer).first(reader->Read(buffer));
        gCheck(reader->GetFilePosition() >= position && reader->GetFilePosition() <= input.size(),
            "the position goes back or leaves the file");
        position = reader->GetFilePosition();
        if (window.empty())
            break;
        if (!reader->IsCompressed())
            gCheck(std::ranges::equal(std::as_bytes(window), input.subspan(textSize, window.size())),
                "plain text comes out as another");
        textSize += window.size();
    }
    gCheck(!reader->HasFailed(), "a sound disk fails");
    gCheck(reader->GetDamageOffset() <= input.size(), "damage lies outside of the file");
    if (textSize > cMostText)
        return;
    gCheck(reader->Read(buffer) == 0, "there is text behind the end");
    gCheck(reader->IsCompressed() || textSize == input.size(), "plain text comes out shorter or longer");
    gCheck(position == input.size() || !reader->GetDamage().empty(), "a part of the file is passed over in silence");
}
