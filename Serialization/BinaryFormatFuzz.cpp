#include "Serialization/BinaryFormat.h"

#include "Serialization/JsonFormat.h"
#include "Serialization/Testing/Fixture.h"
#include "Serialization/Testing/FuzzChecks.h"
#include "Serialization/Testing/FuzzContainer.h"
#include "Utility/OutputMemoryStream.h"

using namespace Serialization;
using namespace Serialization::Testing;

namespace
{

std::vector<RTTI::Object*> GetPointers(const Objects& objects)
{
    std::vector<RTTI::Object*> pointers;
    for (const auto& object : objects)
        pointers.push_back(object.get());
    return pointers;
}

/// What was read can be written, and reads as the same again.
void CheckRoundTrip(const Objects& objects, const RTTI::TypeRegistry& registry, const RTTI::ObjectFactory& factory)
{
    const Bytes first = gWrite(GetPointers(objects));
    const ReadOutcome again = gRead(first, registry, EUnknownTypePolicy::Fail, factory);
    Fuzz::gCheck(again.IsRead, "what was written cannot be read");
    const Bytes second = gWrite(GetPointers(again.Roots));
    Fuzz::gCheck(first.size() == second.size(), "what was read again has another size");

    // Numbers without a JSON form end this comparison.
    std::string firstText;
    std::string secondText;
    Utility::Result result;
    if (gWriteJson(GetPointers(objects), firstText, result))
    {
        Fuzz::gCheck(gWriteJson(GetPointers(again.Roots), secondText, result), "JSON can be written only once");
        Fuzz::gCheck(gSortLines(firstText) == gSortLines(secondText), "what was read again has other values");
    }
}

}

void Fuzz::gRunInput(Input input)
{
    static const RTTI::TypeRegistry sRegistry = gMakeSampleRegistry();
    static const FuzzContainer sContainer{gWrite({gMakeEverything().get()})};
    RTTI::ObjectFactory factory;
    factory.SetFactory<Sample::Context>([] { return std::make_unique<Sample::Context>(1); });

    const Bytes buffer = [&] {
        const Aside aside;
        return sContainer.Make(input);
    }();
    const ReadOutcome strict = gRead(buffer, sRegistry, EUnknownTypePolicy::Fail, factory);
    gCheckOutcome(strict.IsRead, strict.Result);
    const ReadOutcome lenient = gRead(buffer, sRegistry, EUnknownTypePolicy::Skip, factory);
    gCheckOutcome(lenient.IsRead, lenient.Result);
    gCheck(lenient.IsRead || !strict.IsRead, "what the strict reader takes the lenient one does not");
    const Aside aside;
    if (strict.IsRead)
        CheckRoundTrip(strict.Roots, sRegistry, factory);
}
