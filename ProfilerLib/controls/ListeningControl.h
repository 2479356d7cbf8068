#pragma once

#include <string>
#include <utility>
#include <vector>

#include "ProfilerLib/controls/Control.h"
#include "Utility/Format.h"

namespace Profiler
{

/// What controls of a test have heard, in order.
using Log = std::vector<std::string>;

/// Writes down all that it hears, and handles what it is told to.
class ListeningControl : public Control
{
public:
    ListeningControl(std::string name, const Renderer::Rectangle& rect, Log& log)
        : Control(nullptr),
          mName(std::move(name)),
          mLog(log)
    {
        SetRect(rect);
    }

    void OnFocusLost() override { Note("blur"); }
    void OnFocusGained() override { Note("focus"); }
    void OnKeyPress(KeyEvent& event) override { Hear("key", event); }
    void OnKeyRelease(KeyEvent& event) override { Hear("keyup", event); }
    void OnMousePress(MouseEvent& event) override { HearAt("press", event); }
    void OnMouseRelease(MouseEvent& event) override { HearAt("release", event); }
    void OnMouseMove(MouseEvent& event) override
    {
        HearAt("move", event);
        Control::OnMouseMove(event);
    }
    void OnMouseDoubleClick(MouseEvent& event) override { HearAt("double", event); }
    void OnMouseWheel(WheelEvent& event) override { HearAt("wheel", event); }
    void OnMouseEnter() override { Note("enter"); }
    void OnMouseLeave() override
    {
        Note("leave");
        Control::OnMouseLeave();
    }
    std::string GetTooltip(const Renderer::Vector2& position) override
    {
        if (mTooltip.empty())
            return {};
        return Utility::gFormat(
            "%s at %g,%g", mTooltip.c_str(), static_cast<double>(position.mX), static_cast<double>(position.mY));
    }

    bool mHandles = false;
    std::string mTooltip; ///< the place is put behind it
    MouseEvent mLastMouse;
    WheelEvent mLastWheel;
    KeyEvent mLastKey;

private:
    void Note(const std::string& what) { mLog.push_back(mName + " " + what); }

    void Keep(const MouseEvent& event) { mLastMouse = event; }
    void Keep(const WheelEvent& event) { mLastWheel = event; }
    void Keep(const KeyEvent& event) { mLastKey = event; }

    template <class Event>
    void Hear(const std::string& what, Event& event)
    {
        Keep(event);
        Note(event.handled ? what + " handled" : what);
        event.handled = event.handled || mHandles;
    }

    template <class Event>
    void HearAt(const std::string& what, Event& event)
    {
        Hear(Utility::gFormat("%s %g,%g", what.c_str(), static_cast<double>(event.position.mX),
                 static_cast<double>(event.position.mY)),
            event);
    }

    std::string mName;
    Log& mLog;
};

}
