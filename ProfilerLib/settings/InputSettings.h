#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "ProfilerLib/settings/KeyCode.h"
#include "Serialization/RTTI/TypeOf.h"

namespace Utility
{
class Result;
}

namespace Profiler
{

/// What a held key makes of the mouse on a chart.
enum class EAction : uint8_t
{
    Zoom = 0,
    Pan = 1,
    MeasureRange = 2,
};

consteval auto gDescribe(RTTI::EnumTag<EAction>)
{
    return RTTI::gDescribeEnum<EAction>(
        "Profiler::EAction", {{"Zoom", EAction::Zoom}, {"Pan", EAction::Pan}, {"MeasureRange", EAction::MeasureRange}});
}

/// One row of the stored key mapping.
struct KeyMapping
{
    EAction Action = EAction::Zoom;
    Input::EKeyCode Key = Input::EKeyCode::None; ///< `None` leaves the action without a key

    bool operator==(const KeyMapping&) const = default;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<KeyMapping>("Profiler::KeyMapping", RTTI::Version{1},
            RTTI::Field<&KeyMapping::Action>{"Action"}, RTTI::Field<&KeyMapping::Key>{"Key"});
    }
};

/// How the user's keys and mouse act on a chart. Part of `Settings`; the GUI thread only. Every action has a key.
class InputSettings : public RTTI::Object
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<InputSettings>("Profiler::InputSettings", RTTI::Version{1}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&InputSettings::mKeyMappings>{"KeyMappings"},
            RTTI::Field<&InputSettings::mMouseWheelSensitivity>{"MouseWheelSensitivity"},
            RTTI::Field<&InputSettings::mMouseMoveSensitivity>{"MouseMoveSensitivity"});
    }

public:
    using KeyMap = std::map<EAction, Input::EKeyCode>;

    static constexpr float cDefaultSensitivity = 0.5f;

    InputSettings() { ResetToDefaults(); }

    const RTTI::TypeHandle& GetType() const override;

    /// Makes what was read usable: enters the stored rows, of which the last one of an action wins, appends a row for
    /// each action without one, and brings the sensitivities into their range. Always succeeds.
    bool PostLoad(Utility::Result& result);
    /// The keys, not the sensitivities.
    void ResetToDefaults();

    Input::EKeyCode GetKey(EAction action) const;
    const KeyMap& GetKeyMap() const { return mKeys; }
    /// An action that is not in the map gets its default key.
    void SetKeyMappings(const KeyMap& keys);
    const std::vector<KeyMapping>& GetKeyMappings() const { return mKeyMappings; }

    /// From 0 to 1; `cubed` gives the third power, which spreads the lower end.
    float GetMouseWheelSensitivity(bool cubed) const;
    float GetMouseMoveSensitivity(bool cubed) const;
    void SetMouseWheelSensitivity(float sensitivity);
    void SetMouseMoveSensitivity(float sensitivity);

private:
    void AddMissingKeys();

    /// What is stored, and what is looked up. The second follows from the first.
    std::vector<KeyMapping> mKeyMappings;
    KeyMap mKeys;
    float mMouseWheelSensitivity = cDefaultSensitivity;
    float mMouseMoveSensitivity = cDefaultSensitivity;
};

}
