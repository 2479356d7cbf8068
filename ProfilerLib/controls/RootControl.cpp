#include "ProfilerLib/controls/RootControl.h"

namespace Profiler
{

RootControl::RootControl(ControlContext* context, const Renderer::Vector2& screenOrigin)
    : Control(context),
      mScreenOrigin(screenOrigin)
{
    SetInteractive(false);
}

void RootControl::SetContent(std::unique_ptr<Control> content)
{
    mContent = AddChild(std::move(content));
}

void RootControl::OnLayout()
{
    if (mContent == nullptr)
        return;
    mContent->SetRect(GetLocalRect());
    mContent->OnLayout();
}

}
