#include "ProfilerLib/controls/ControlHostWidget.h"

#include <cstdlib>

#include <QtGui/QCursor>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QOpenGLContext>
#include <QtGui/QOpenGLFunctions>
#include <QtGui/QWheelEvent>

#include "ProfilerLib/controls/DpiScale.h"
#include "ProfilerLib/controls/QtCursor.h"
#include "ProfilerLib/controls/RootControl.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"

namespace Profiler
{

using Renderer::Rectangle;
using Renderer::Vector2;

namespace
{

Vector2 ToVector(const QPoint& point)
{
    return {static_cast<float>(point.x()), static_cast<float>(point.y())};
}

uint8_t GetButtons(Qt::MouseButtons buttons)
{
    return static_cast<uint8_t>((buttons.testFlag(Qt::LeftButton) ? MouseButton::cLeft : 0) |
                                (buttons.testFlag(Qt::RightButton) ? MouseButton::cRight : 0) |
                                (buttons.testFlag(Qt::MiddleButton) ? MouseButton::cMiddle : 0));
}

/// The bits of Qt, moved down.
uint16_t GetModifiers(const QInputEvent& event)
{
    constexpr int cLowestBit = 25;
    constexpr unsigned cBits = 0x3F;
    static_assert(Qt::ShiftModifier == 1 << cLowestBit && Qt::GroupSwitchModifier == 32 << cLowestBit);
    return static_cast<uint16_t>(static_cast<unsigned>(event.modifiers()) >> cLowestBit & cBits);
}

/// The larger direction counts: under X11 a wheel that is turned while Alt is held comes as a horizontal one.
int32_t GetDelta(const QWheelEvent& event)
{
    const QPoint delta = event.angleDelta();
    return std::abs(delta.x()) > std::abs(delta.y()) ? delta.x() : delta.y();
}

KeyEvent GetKeyEvent(const QKeyEvent& event)
{
    return {.key = Input::gGetKeyCode(event.key()), .modifiers = GetModifiers(event), .accepted = event.isAccepted()};
}

}

ControlHostWidget::ControlHostWidget(QWidget* parent) : OpenGLWidgetBase(parent)
{
    setMouseTracking(true);
    setFocusPolicy(Qt::WheelFocus);
}

ControlHostWidget::~ControlHostWidget()
{
    mRenderer.reset();
    if (isValid() && GetRenderContext() != nullptr)
    {
        makeCurrent();
        GetRenderContext()->DeletePendingVertexArrays();
        doneCurrent();
    }
    mRouter.reset();
    mRoot.reset();
}

void ControlHostWidget::SetContent(std::unique_ptr<Control> content)
{
    mRoot->SetContent(std::move(content));
}

void ControlHostWidget::initializeGL()
{
    OpenGLWidgetBase::initializeGL();
    // It comes again when the widget has moved to another window: then only what lives in GL is made anew.
    mRenderer.reset();
    if (!StartRenderContext())
        return;
    mRenderer = std::make_unique<Renderer::PrimitiveRenderer>(*GetRenderContext(), DpiScaleX());
    if (mContext == nullptr)
        mContext = std::make_unique<ControlContext>();
    mContext->mRenderer = mRenderer.get();
    if (mRoot == nullptr)
    {
        mRoot = std::make_unique<RootControl>(mContext.get(), GetScreenOrigin());
        InputRouter::Host& host = *this;
        mRouter.emplace(*mRoot, host);
    }
    RunInitialiseCallback();
    Layout(width(), height());
}

void ControlHostWidget::resizeGL(int width, int height)
{
    Layout(width, height);
    OpenGLWidgetBase::resizeGL(width, height);
}

void ControlHostWidget::Layout(int width, int height)
{
    if (mRenderer == nullptr)
        return;
    mRoot->SetRect({0.0f, 0.0f, static_cast<float>(width), static_cast<float>(height)});
    mRoot->OnLayout();
    mRenderer->SetViewportSize(width, height, static_cast<float>(devicePixelRatioF()));
}

void ControlHostWidget::Render(double deltaSeconds)
{
    constexpr Renderer::Colour white{1.0f, 1.0f, 1.0f, 1.0f};
    // Qt rounds the surface and cuts the viewport: under a scale of 1.5 a row at the top could be left out.
    const QSize pixels = size() * devicePixelRatioF();
    context()->functions()->glViewport(0, 0, pixels.width(), pixels.height());
    GetRenderContext()->Clear(white);
    mRoot->Update(deltaSeconds);
    mRoot->UpdateVisibleRects(GetVisibleRectangle());
    mRoot->Render(*mRenderer);
    mRenderer->Flush();
    RefreshTooltip();
}

Vector2 ControlHostWidget::GetScreenOrigin() const
{
    return ToVector(mapToGlobal(QPoint(0, 0)));
}

Rectangle ControlHostWidget::GetVisibleRectangle() const
{
    // The bounds of visibleRegion(), which allocates: what the widgets around this one leave of it.
    QRect rect = this->rect();
    QPoint offset;
    for (const QWidget* widget = this; !widget->isWindow() && widget->parentWidget() != nullptr;
         widget = widget->parentWidget())
    {
        offset += widget->pos();
        rect &= widget->parentWidget()->rect().translated(-offset);
    }
    return {static_cast<float>(rect.x()), static_cast<float>(rect.y()), static_cast<float>(rect.width()),
        static_cast<float>(rect.height())};
}

void ControlHostWidget::RefreshTooltip()
{
    const QPoint pointer = QCursor::pos();
    std::string text;
    if (underMouse())
        text = mRouter->GetTooltip(ToVector(mapFromGlobal(pointer)), GetVisibleRectangle());
    if (text.empty())
    {
        mTooltip.hide();
        return;
    }
    if (text != mTooltipText)
    {
        mTooltipText = std::move(text);
        mTooltipLabel = QString::fromStdString(mTooltipText);
    }
    mTooltip.Show(pointer, mTooltipLabel, this, rect());
}

bool ControlHostWidget::event(QEvent* event)
{
    if (event->type() == QEvent::Move && mRoot != nullptr)
        mRoot->SetScreenOrigin(GetScreenOrigin());
    const bool isTaken = OpenGLWidgetBase::event(event);
    // Another screen may have other pixels, and the widget keeps its size.
    if (event->type() == QEvent::ScreenChangeInternal)
        Layout(width(), height());
    return isTaken;
}

void ControlHostWidget::mousePressEvent(QMouseEvent* event)
{
    if (mRouter)
        mRouter->Press(ToVector(event->pos()), GetButtons(event->button()), GetModifiers(*event));
    else
        OpenGLWidgetBase::mousePressEvent(event);
}

void ControlHostWidget::mouseReleaseEvent(QMouseEvent* event)
{
    if (mRouter)
        mRouter->Release(ToVector(event->pos()), GetButtons(event->button()), GetModifiers(*event));
    else
        OpenGLWidgetBase::mouseReleaseEvent(event);
}

void ControlHostWidget::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (mRouter)
        mRouter->DoubleClick(ToVector(event->pos()), GetButtons(event->button()), GetModifiers(*event));
    else
        OpenGLWidgetBase::mouseDoubleClickEvent(event);
}

void ControlHostWidget::mouseMoveEvent(QMouseEvent* event)
{
    if (mRouter)
        mRouter->Move(ToVector(event->pos()), GetButtons(event->buttons()), GetModifiers(*event));
    else
        OpenGLWidgetBase::mouseMoveEvent(event);
}

void ControlHostWidget::wheelEvent(QWheelEvent* event)
{
    // What no control handles goes on to the parent widget. Of a slanted turn Qt sends a second event, without angles,
    // which would end the animation that the first has started.
    if (mRouter && !event->angleDelta().isNull())
        event->setAccepted(
            mRouter->Wheel(ToVector(event->position().toPoint()), GetDelta(*event), GetModifiers(*event)));
    else
        OpenGLWidgetBase::wheelEvent(event);
}

void ControlHostWidget::keyPressEvent(QKeyEvent* event)
{
    KeyEvent key = GetKeyEvent(*event);
    if (mRouter && mRouter->PressKey(key))
        event->accept();
    else
        OpenGLWidgetBase::keyPressEvent(event);
}

void ControlHostWidget::keyReleaseEvent(QKeyEvent* event)
{
    KeyEvent key = GetKeyEvent(*event);
    if (mRouter && mRouter->ReleaseKey(key))
        event->accept();
    else
        OpenGLWidgetBase::keyReleaseEvent(event);
}

void ControlHostWidget::focusInEvent(QFocusEvent* event)
{
    if (!mRouter || mRouter->GetFocused() != nullptr)
    {
        OpenGLWidgetBase::focusInEvent(event);
        return;
    }
    event->ignore();
    mRouter->SetFocus(mRoot->GetContent());
}

void ControlHostWidget::focusOutEvent(QFocusEvent* event)
{
    // The focus comes back from a menu, and to the same control.
    if (event->reason() == Qt::PopupFocusReason || event->reason() == Qt::MenuBarFocusReason)
        return;
    event->ignore();
    if (mRouter && mRouter->DropFocus())
        update();
}

void ControlHostWidget::leaveEvent(QEvent* event)
{
    if (mRouter)
        mRouter->Leave();
    OpenGLWidgetBase::leaveEvent(event);
}

void ControlHostWidget::ShowCursor(ECursor cursor)
{
    if (cursor == mShownCursor)
        return;
    mShownCursor = cursor;
    setCursor(gGetQtCursor(cursor));
}

void ControlHostWidget::OnFocusChanged()
{
    if (!hasFocus())
        setFocus();
    update();
}

}
