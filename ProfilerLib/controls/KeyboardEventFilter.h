#pragma once

#include <QtCore/QObject>

class QInputEvent;
class QKeyEvent;

namespace Input
{
class KeyboardState;
}

namespace Profiler
{

/// Feeds a `KeyboardState` with what the windows of the program hear of the keyboard. The host owns it and installs it
/// on the application object; it consumes nothing. A key
/// that is a shortcut of the window is not heard of. When the program is no longer the active one all keys count as up,
/// and a modifier that the mouse comes without does too: its release went to a window manager that had taken the
/// keyboard. The GUI thread only.
class KeyboardEventFilter final : public QObject
{
    Q_OBJECT

public:
    /// The state outlives the filter.
    explicit KeyboardEventFilter(Input::KeyboardState& state, QObject* parent = nullptr);

    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void OnKey(const QKeyEvent& event);
    void ReleaseLostModifiers(const QInputEvent& event);

    Input::KeyboardState& mState;
};

}
