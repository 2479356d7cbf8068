#include "Serialization/JsonFormat.h"

#include "Serialization/Testing/Fixture.h"
#include "Serialization/Testing/FuzzChecks.h"

using namespace Serialization;
using namespace Serialization::Testing;

namespace
{

std::string WriteText(const Objects& objects)
{
    std::vector<RTTI::Object*> pointers;
    for (const auto& object : objects)
        pointers.push_back(object.get());
    std::string text;
    Utility::Result result;
    Fuzz::gCheck(gWriteJson(pointers, text, result), "what was read cannot be written");
    return text;
}

}

void Fuzz::gRunInput(Input input)
{
    static const RTTI::TypeRegistry sRegistry = gMakeSampleRegistry();
    RTTI::ObjectFactory factory;
    factory.SetFactory<Sample::Context>([] { return std::make_unique<Sample::Context>(1); });

    const ReadOutcome outcome =
        gReadText({reinterpret_cast<const char*>(input.data()), input.size()}, sRegistry, factory);
    gCheckOutcome(outcome.IsRead, outcome.Result);
    // The round trip of much of the same tells nothing new.
    constexpr std::size_t mostWritten = std::size_t{1} << 20;
    if (!outcome.IsRead || input.size() > mostWritten)
        return;
    const Aside aside;
    const std::string text = WriteText(outcome.Roots);
    const ReadOutcome again = gReadText(text, sRegistry, factory);
    gCheck(again.IsRead, "what was written cannot be read");
    gCheck(gSortLines(text) == gSortLines(WriteText(again.Roots)), "what was read again has other values");
}
