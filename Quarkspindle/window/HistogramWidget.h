#pragma once

#include <optional>
#include <utility>

#include <QtWidgets/QWidget>

#include "Quarkspindle/window/OccurrenceList.h"

namespace Quarkspindle
{

/// How often which duration occurs, with the median and the high percentiles marked. A drag, or the arrow keys with and
/// without Shift, pick a range of durations; a click or Escape gives it up.
class HistogramWidget final : public QWidget
{
    Q_OBJECT

public:
    /// Milliseconds, the shorter first.
    using Range = std::pair<double, double>;

    explicit HistogramWidget(QWidget* parent = nullptr);

    /// The picked range stays as it is.
    void SetHistogram(const DurationHistogram& histogram);
    void SetLogarithmic(bool isLogarithmic);
    /// Does not signal.
    void SetRange(std::optional<Range> range);

    const std::optional<Range>& GetRange() const { return mRange; }
    /// For people; empty when none is picked.
    QString DescribeRange() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    /// The user picked another range, or gave it up; at the end of a drag.
    void RangePicked();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

private:
    QRectF GetPlot() const;
    double GetPosition(double x) const;
    double GetX(double durationMs) const;
    void Pick(double positionA, double positionB);
    void PaintBars(QPainter& painter) const;
    void PaintRange(QPainter& painter) const;
    void PaintMarks(QPainter& painter) const;
    void PaintEnds(QPainter& painter) const;

    DurationHistogram mHistogram;
    bool mIsLogarithmic = false;
    std::optional<Range> mRange;
    std::optional<double> mDragStart; ///< position 0 to 1 where the button went down
    bool mHasDragged = false;
};

}
