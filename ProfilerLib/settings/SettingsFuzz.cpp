#include "ProfilerLib/settings/Settings.h"

#include "ProfilerLib/settings/RegisterTypes.h"
#include "Serialization/JsonFormat.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/RootObjects.h"
#include "Serialization/Testing/FuzzChecks.h"
#include "Utility/Result.h"
#include "tests/support/FuzzTarget.h"

namespace Profiler
{

namespace
{

using Objects = std::vector<std::unique_ptr<RTTI::Object>>;

const RTTI::TypeRegistry& GetRegistry()
{
    static RTTI::TypeRegistry sRegistry;
    static const bool sIsReady = [] {
        {
            const auto scope = sRegistry.BeginRegistration(RTTI::gGetOwnerID());
            RTTI::gRegisterTypes(sRegistry);
            gRegisterSettingsTypes(sRegistry);
        }
        sRegistry.Finalize();
        return true;
    }();
    (void)sIsReady;
    return sRegistry;
}

bool Read(std::string_view text, Objects& objects)
{
    Utility::Result result;
    const bool isRead = Serialization::gReadJson(text, GetRegistry(), RTTI::ObjectFactory{}, objects, result);
    Serialization::Testing::gCheckOutcome(isRead, result);
    return isRead;
}

std::string Write(RTTI::Object& object)
{
    std::string text;
    Utility::Result result;
    Fuzz::gCheck(Serialization::gWriteJson({&object}, text, result), "what was read cannot be written");
    return text;
}

/// What was read is written, read and written again, which changes nothing.
template <class T>
void CheckStored(T& settings)
{
    const Fuzz::Aside aside;
    const std::string text = Write(settings);
    Objects objects;
    Fuzz::gCheck(Read(text, objects), "what was written cannot be read");
    const std::unique_ptr<T> again = Serialization::gTakeFirst<T>(objects);
    Fuzz::gCheck(again != nullptr && Write(*again) == text, "what was read again has other values");
}

void CheckInput(InputSettings& settings)
{
    Utility::Result result;
    Fuzz::gCheck(settings.PostLoad(result), "a mapping of keys is refused");
    for (const EAction action : {EAction::Zoom, EAction::Pan, EAction::MeasureRange})
        Fuzz::gCheck(settings.GetKeyMap().contains(action), "an action has no row");
    for (const float sensitivity : {settings.GetMouseWheelSensitivity(false), settings.GetMouseMoveSensitivity(true)})
        Fuzz::gCheck(sensitivity >= 0 && sensitivity <= 1, "a sensitivity is out of its range");
}

}

}

/// A settings file. Its folders are neither made nor looked at: an input may name any.
void Fuzz::gRunInput(Input input)
{
    using namespace Profiler;

    Objects objects;
    if (!Read({reinterpret_cast<const char*>(input.data()), input.size()}, objects))
        return;
    if (const auto settings = Serialization::gTakeFirst<InputSettings>(objects))
    {
        CheckInput(*settings);
        CheckStored(*settings);
    }
    if (const auto settings = Serialization::gTakeFirst<SymbolSettings>(objects))
    {
        (void)settings->GetHash();
        CheckStored(*settings);
    }
    if (const auto settings = Serialization::gTakeFirst<AdvancedSettings>(objects))
        CheckStored(*settings);
}
