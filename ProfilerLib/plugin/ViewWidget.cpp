#include "ProfilerLib/plugin/ViewWidget.h"

namespace Profiler
{

ViewWidget::ViewWidget(int32_t viewKind, const QIcon& icon, QWidget* parent)
    : UpdatableWidget{parent},
      mViewKind{viewKind},
      mIcon{icon}
{}

}
