#include "ProfilerLib/settings/InputSettings.h"

#include <algorithm>
#include <cmath>

namespace Profiler
{

namespace
{

constexpr KeyMapping cDefaultKeys[] = {
    {EAction::Zoom, Input::EKeyCode::Alt},
    {EAction::Pan, Input::EKeyCode::Control},
    {EAction::MeasureRange, Input::EKeyCode::Shift},
};

float Limit(float sensitivity)
{
    return std::isnan(sensitivity) ? InputSettings::cDefaultSensitivity : std::clamp(sensitivity, 0.0f, 1.0f);
}

float GetSensitivity(float value, bool cubed)
{
    return cubed ? std::pow(value, 3.0f) : value;
}

}

const RTTI::TypeHandle& InputSettings::GetType() const
{
    return RTTI::gTypeOf<InputSettings>();
}

bool InputSettings::PostLoad(Utility::Result&)
{
    mKeys.clear();
    for (const KeyMapping& row : mKeyMappings)
        mKeys.insert_or_assign(row.Action, row.Key);
    AddMissingKeys();
    // A file can say anything, and a view that zooms by an endless factor shows nothing any more.
    mMouseWheelSensitivity = Limit(mMouseWheelSensitivity);
    mMouseMoveSensitivity = Limit(mMouseMoveSensitivity);
    return true;
}

void InputSettings::ResetToDefaults()
{
    SetKeyMappings({});
}

Input::EKeyCode InputSettings::GetKey(EAction action) const
{
    const auto found = mKeys.find(action);
    return found != mKeys.end() ? found->second : Input::EKeyCode::None;
}

void InputSettings::SetKeyMappings(const KeyMap& keys)
{
    mKeys = keys;
    mKeyMappings.clear();
    for (const auto& [action, key] : mKeys)
        mKeyMappings.push_back({action, key});
    AddMissingKeys();
}

void InputSettings::AddMissingKeys()
{
    for (const KeyMapping& row : cDefaultKeys)
    {
        if (mKeys.try_emplace(row.Action, row.Key).second)
            mKeyMappings.push_back(row);
    }
}

float InputSettings::GetMouseWheelSensitivity(bool cubed) const
{
    return GetSensitivity(mMouseWheelSensitivity, cubed);
}

float InputSettings::GetMouseMoveSensitivity(bool cubed) const
{
    return GetSensitivity(mMouseMoveSensitivity, cubed);
}

void InputSettings::SetMouseWheelSensitivity(float sensitivity)
{
    mMouseWheelSensitivity = Limit(sensitivity);
}

void InputSettings::SetMouseMoveSensitivity(float sensitivity)
{
    mMouseMoveSensitivity = Limit(sensitivity);
}

}
