#include "BarChartPlugin/BarChartFrameWidget.h"

#include "ProfilerLib/controls/DpiScale.h"

namespace Profiler
{

QSize BarChartFrameWidget::sizeHint() const
{
    return {static_cast<int>(ScaledX(300.0F)), QFrame::sizeHint().height()};
}

}
