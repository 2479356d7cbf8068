#pragma once

#include <QtWidgets/QFrame>

namespace Profiler
{

/// The column beside the chart with its tool bar and combo boxes: wide enough for a name of usual length.
class BarChartFrameWidget final : public QFrame
{
public:
    using QFrame::QFrame;

    QSize sizeHint() const override;
};

}
