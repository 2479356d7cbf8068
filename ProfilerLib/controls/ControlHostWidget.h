#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ProfilerLib/controls/InputRouter.h"
#include "ProfilerLib/controls/MouseFollowTooltip.h"
#include "ProfilerLib/controls/OpenGLWidgetBase.h"

namespace Renderer
{
class PrimitiveRenderer;
}

namespace Profiler
{

class RootControl;

/// The widget that a tree of controls lives in: it owns the tree and what draws it, gives the tree the mouse and the
/// keyboard (see `InputRouter`) and runs its frame: update, visible rectangles, drawing, flush, tooltip. The GUI thread
/// only.
///
/// The tree is made when GL is at hand for the first time, in the initialise callback, which calls SetContent. Until
/// then, and for ever where OpenGL does not start, input goes to Qt's own handlers.
class ControlHostWidget : public OpenGLWidgetBase, private InputRouter::Host
{
    Q_OBJECT

public:
    explicit ControlHostWidget(QWidget* parent = nullptr);
    ~ControlHostWidget() override;

    /// The control that fills the widget. Called once, by the initialise callback: before it there is no root.
    void SetContent(std::unique_ptr<Control> content);
    /// What the controls of this widget are made with. Null before the initialise callback.
    ControlContext* GetContext() const { return mContext.get(); }

    Control* GetCaptured() const { return mRouter ? mRouter->GetCaptured() : nullptr; }
    Control* GetHovered() const { return mRouter ? mRouter->GetHovered() : nullptr; }
    Control* GetFocused() const { return mRouter ? mRouter->GetFocused() : nullptr; }

protected:
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void initializeGL() override;
    void resizeGL(int width, int height) override;
    void Render(double deltaSeconds) override;

private:
    void ShowCursor(ECursor cursor) override;
    void OnFocusChanged() override;

    void Layout(int width, int height);
    Renderer::Vector2 GetScreenOrigin() const;
    Renderer::Rectangle GetVisibleRectangle() const;
    void RefreshTooltip();

    std::unique_ptr<ControlContext> mContext;
    std::unique_ptr<Renderer::PrimitiveRenderer> mRenderer;
    std::unique_ptr<RootControl> mRoot; ///< null before the first initializeGL that succeeds
    std::optional<InputRouter> mRouter; ///< there when the root is
    ECursor mShownCursor = ECursor::Default;
    std::string mTooltipText; ///< as the tooltip has it, so that a frame with the same one converts nothing
    QString mTooltipLabel;
    MouseFollowTooltip mTooltip{this};
};

}
