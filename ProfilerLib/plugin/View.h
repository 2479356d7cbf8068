#pragma once

#include <vector>

#include "Utility/Event.h"

namespace Input
{
class KeyboardState;
}
namespace Renderer
{
class RenderContext;
}

namespace Profiler
{

class Settings;
class ViewWidget;

/// A plug-in's view on one model. The host owns it, places its widgets and deletes it before the session.
class View
{
public:
    virtual ~View() = default;

    /// The widgets to place in the window; they stay owned by the view.
    virtual std::vector<ViewWidget*> GetWidgets() = 0;

    virtual std::vector<ViewWidget*> GetExtraWidgets() { return {}; }
};

/// What a view sees of the window that it stands in.
struct ViewHost
{
    /// Fired by the host when a time range, in milliseconds, is chosen elsewhere in its window.
    Event<double, double> RangeChosen;
};

/// The host's services for a view, a table with fixed places. They outlive the view; the render context must be gone
/// before the module is unloaded, since fonts and other things in it are made by the module's code.
struct ViewContext
{
    Profiler::Settings* Settings = nullptr;
    Input::KeyboardState* KeyboardState = nullptr;
    void* Reserved2 = nullptr;
    void* Reserved3 = nullptr;
    Renderer::RenderContext* RenderContext = nullptr;
};

}
