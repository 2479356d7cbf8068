#include "ProfilerLib/controls/MouseFollowTooltip.h"

#include <algorithm>

#include <QtGui/QGuiApplication>
#include <QtGui/QMouseEvent>
#include <QtGui/QScreen>
#include <QtGui/QTextDocument>
#include <QtWidgets/QStyle>
#include <QtWidgets/QStyleHintReturnMask>
#include <QtWidgets/QStyleOptionFrame>
#include <QtWidgets/QStylePainter>
#include <QtWidgets/QToolTip>

#include "ProfilerLib/controls/DpiScale.h"

namespace Profiler
{

namespace
{

/// Screens that lie on one large desktop are told apart by the point, separate ones by the widget.
QRect GetScreenGeometry(const QPoint& globalPosition, const QWidget* widget)
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    const bool isOneDesktop =
        screen != nullptr && screen->virtualSiblings().size() == QGuiApplication::screens().size();
    if (isOneDesktop)
    {
        if (const QScreen* const under = QGuiApplication::screenAt(globalPosition))
            screen = under;
    }
    else if (widget != nullptr)
    {
        screen = widget->screen();
    }
    return screen != nullptr ? screen->geometry() : QRect();
}

bool EndsPointing(QEvent::Type type)
{
    switch (type)
    {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::FocusIn:
    case QEvent::FocusOut:
    case QEvent::Leave:
    case QEvent::Close:
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
    case QEvent::Wheel:
        return true;
    default:
        return false;
    }
}

}

QPoint gPlaceTooltip(const QPoint& pointer, const QSize& size, const QRect& screen)
{
    const int right = screen.x() + screen.width();
    const int bottom = screen.y() + screen.height();
    QPoint p = pointer + QPoint(static_cast<int>(ScaledX(4.0f)), static_cast<int>(ScaledY(16.0f)));
    if (p.x() + size.width() > right)
        p.rx() -= 4 + size.width();
    if (p.y() + size.height() > bottom)
        p.ry() -= 24 + size.height();
    p.setY(std::max(p.y(), screen.y()));
    p.setX(std::min(p.x(), right - size.width()));
    p.setX(std::max(p.x(), screen.x()));
    p.setY(std::min(p.y(), bottom - size.height()));
    return p;
}

MouseFollowTooltip::MouseFollowTooltip(QWidget* parent)
    : QLabel(parent, Qt::ToolTip | Qt::BypassGraphicsProxyWidget),
      mWidget(parent)
{
    QPalette colours = QToolTip::palette();
    colours.setColor(QPalette::Inactive, QPalette::ToolTipText, QColor(87, 87, 87));
    setForegroundRole(QPalette::ToolTipText);
    setBackgroundRole(QPalette::ToolTipBase);
    setPalette(colours);
    ensurePolished();
    setMargin(style()->pixelMetric(QStyle::PM_ToolTipLabelFrameWidth, nullptr, this) + 1);
    setFrameStyle(QFrame::NoFrame);
    setAlignment(Qt::AlignLeft);
    setIndent(1);
    qApp->installEventFilter(this);
    setWindowOpacity(style()->styleHint(QStyle::SH_ToolTipLabel_Opacity, nullptr, this) / 255.0);
    setMouseTracking(true);
}

MouseFollowTooltip::~MouseFollowTooltip()
{
    qApp->removeEventFilter(this);
}

void MouseFollowTooltip::Show(const QPoint& globalPosition, const QString& text, QWidget* widget, const QRect& rect)
{
    if (text != this->text())
        SetText(text);
    Place(globalPosition);
    mWidget = widget;
    mRect = rect;
    if (!isVisible())
        showNormal();
}

void MouseFollowTooltip::SetText(const QString& text)
{
    setWordWrap(Qt::mightBeRichText(text));
    setText(text);
    QSize size = sizeHint() + QSize(1, 0);
    // Some fonts say too little of their height.
    const QFontMetrics metrics(font());
    if (metrics.descent() == 2 && metrics.ascent() >= 11)
        size.rheight() += 1;
    resize(size);
}

void MouseFollowTooltip::Place(const QPoint& globalPosition)
{
    move(gPlaceTooltip(globalPosition, size(), GetScreenGeometry(globalPosition, mWidget)));
}

bool MouseFollowTooltip::eventFilter(QObject*, QEvent* event)
{
    if (EndsPointing(event->type()))
    {
        if (isVisible())
            hide();
    }
    else if (event->type() == QEvent::MouseMove)
    {
        HideOutside(static_cast<QMouseEvent*>(event)->globalPos());
    }
    return false;
}

void MouseFollowTooltip::HideOutside(const QPoint& globalPosition)
{
    if (!isVisible())
        return;
    const QPoint point = mWidget != nullptr ? mWidget->mapFromGlobal(globalPosition) : globalPosition;
    if (!mRect.contains(point))
        hide();
}

void MouseFollowTooltip::mouseMoveEvent(QMouseEvent* event)
{
    if (mRect.isNull())
        return;
    HideOutside(event->globalPos());
    QLabel::mouseMoveEvent(event);
}

void MouseFollowTooltip::paintEvent(QPaintEvent* event)
{
    {
        QStylePainter painter(this);
        QStyleOptionFrame option;
        option.initFrom(this);
        painter.drawPrimitive(QStyle::PE_PanelTipLabel, option);
    }
    QLabel::paintEvent(event);
}

void MouseFollowTooltip::resizeEvent(QResizeEvent* event)
{
    QStyleHintReturnMask mask;
    QStyleOption option;
    option.initFrom(this);
    if (style()->styleHint(QStyle::SH_ToolTip_Mask, &option, this, &mask) != 0)
        setMask(mask.region);
    QWidget::resizeEvent(event);
}

}
