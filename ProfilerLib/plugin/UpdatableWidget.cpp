#include "ProfilerLib/plugin/UpdatableWidget.h"

namespace Profiler
{

void UpdatableWidget::Update(double) {}

}
