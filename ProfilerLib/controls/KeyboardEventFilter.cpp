#include "ProfilerLib/controls/KeyboardEventFilter.h"

#include <QtGui/QKeyEvent>

#include "ProfilerLib/settings/KeyboardState.h"

namespace Profiler
{

namespace
{

uint32_t GetPhysicalKey(const QKeyEvent& event)
{
    // An event that comes from no keyboard has no scan code: then the key stands for itself, beyond all of those.
    constexpr uint32_t cNoScanCode = 0x80000000;
    return event.nativeScanCode() != 0 ? event.nativeScanCode() : cNoScanCode | static_cast<uint32_t>(event.key());
}

}

KeyboardEventFilter::KeyboardEventFilter(Input::KeyboardState& state, QObject* parent) : QObject(parent), mState(state)
{}

bool KeyboardEventFilter::eventFilter(QObject* object, QEvent* event)
{
    switch (event->type())
    {
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
        OnKey(*static_cast<QKeyEvent*>(event));
        break;
    case QEvent::MouseButtonPress:
    case QEvent::MouseMove:
    case QEvent::Wheel:
        ReleaseLostModifiers(*static_cast<QInputEvent*>(event));
        break;
    case QEvent::ApplicationStateChange:
        if (static_cast<QApplicationStateChangeEvent*>(event)->applicationState() != Qt::ApplicationActive)
            mState.Clear();
        break;
    default:
        break;
    }
    return QObject::eventFilter(object, event);
}

void KeyboardEventFilter::OnKey(const QKeyEvent& event)
{
    if (event.type() != QEvent::KeyRelease)
        mState.Press(GetPhysicalKey(event), Input::gGetKeyCode(event.key()));
    else if (!event.isAutoRepeat())
        mState.Release(GetPhysicalKey(event));
}

void KeyboardEventFilter::ReleaseLostModifiers(const QInputEvent& event)
{
    using enum Input::EKeyCode;
    constexpr std::pair<Qt::KeyboardModifier, Input::EKeyCode> modifiers[] = {
        {Qt::ShiftModifier, Shift}, {Qt::ControlModifier, Control}, {Qt::AltModifier, Alt}, {Qt::MetaModifier, Meta}};
    for (const auto& [modifier, key] : modifiers)
    {
        if (!event.modifiers().testFlag(modifier))
            mState.ReleaseKey(key);
    }
}

}
