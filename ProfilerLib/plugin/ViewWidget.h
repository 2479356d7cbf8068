#pragma once

#include "ProfilerLib/plugin/UpdatableWidget.h"

#include <QtGui/QIcon>

#include <cstdint>

namespace Profiler
{

/// A widget of a plug-in's view, as the host places it in its window: its title is `windowTitle`. The view owns it.
class ViewWidget : public UpdatableWidget
{
public:
    ViewWidget(int32_t viewKind, const QIcon& icon, QWidget* parent);

    /// Of views of instrumentation timings.
    static constexpr int32_t cInstrumentationTimings = 3;

    /// Names the kind of view to the host.
    int32_t GetViewKind() const { return mViewKind; }
    const QIcon& GetIcon() const { return mIcon; }

private:
    int32_t mViewKind;
    QIcon mIcon;
};

}
