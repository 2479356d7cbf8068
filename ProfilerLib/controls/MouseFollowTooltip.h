#pragma once

#include <QtCore/QRect>
#include <QtWidgets/QLabel>

namespace Profiler
{

/// A small window with rich text beside the mouse pointer, with the look of Qt's tooltips. Unlike those it is shown
/// anew in every frame and moves with the pointer. It hides by itself when anything happens that ends the pointing; its
/// owner hides it when there is no text. The GUI thread only.
class MouseFollowTooltip final : public QLabel
{
    Q_OBJECT

public:
    /// Belongs to `parent`, and watches the events of the whole application while it lives.
    explicit MouseFollowTooltip(QWidget* parent);
    ~MouseFollowTooltip() override;

    /// Shows the text beside the pointer for as long as that stays in an area of `widget`, in its coordinates. The same
    /// text again only moves the window.
    void Show(const QPoint& globalPosition, const QString& text, QWidget* widget, const QRect& rect);

protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void SetText(const QString& text);
    void Place(const QPoint& globalPosition);
    void HideOutside(const QPoint& globalPosition);

    QWidget* mWidget;
    QRect mRect;
};

/// Where the upper left corner of a tooltip goes: beside the pointer, on the other side of it where the screen ends,
/// and always on the screen.
QPoint gPlaceTooltip(const QPoint& pointer, const QSize& size, const QRect& screen);

}
