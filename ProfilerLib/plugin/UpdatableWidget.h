#pragma once

#include <QtWidgets/QWidget>

namespace Profiler
{

/// A widget that its window drives: `Update` comes once for each frame of the display, while the window is exposed.
class UpdatableWidget : public QWidget
{
public:
    using QWidget::QWidget;

    /// `value` is the time since the last call in seconds.
    virtual void Update(double value);
};

}
