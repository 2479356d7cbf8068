#include "Quarkspindle/window/HistogramWidget.h"

#include <algorithm>
#include <cmath>

#include <QtGui/QAccessible>
#include <QtGui/QHelpEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QToolTip>

#include "Quarkspindle/Output.h"

namespace Quarkspindle
{

namespace
{

constexpr double cMargin = 6.0;
/// A pointer that moved less has clicked.
constexpr double cDragDistance = 4.0;

QString MakeText(double ms)
{
    return QString::fromStdString(gFormatMilliseconds(ms));
}

}

HistogramWidget::HistogramWidget(QWidget* parent) : QWidget{parent}
{
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setCursor(Qt::IBeamCursor);
    setAccessibleName(tr("Histogram of durations"));
    setAccessibleDescription(tr("The arrow keys move the start of the range of durations, with Shift its end"));
}

void HistogramWidget::SetHistogram(const DurationHistogram& histogram)
{
    mHistogram = histogram;
    update();
}

void HistogramWidget::SetLogarithmic(bool isLogarithmic)
{
    mIsLogarithmic = isLogarithmic;
    update();
}

void HistogramWidget::SetRange(std::optional<Range> range)
{
    if (range == mRange)
        return;
    mRange = range;
    update();
    QAccessibleValueChangeEvent event{this, DescribeRange()};
    QAccessible::updateAccessibility(&event);
}

QString HistogramWidget::DescribeRange() const
{
    return mRange ? MakeText(mRange->first) + QString::fromUtf8(" – ") + MakeText(mRange->second) : QString{};
}

QSize HistogramWidget::sizeHint() const
{
    return {fontMetrics().averageCharWidth() * 60, fontMetrics().height() * 8};
}

QSize HistogramWidget::minimumSizeHint() const
{
    return {fontMetrics().averageCharWidth() * 24, fontMetrics().height() * 4};
}

QRectF HistogramWidget::GetPlot() const
{
    const double text = fontMetrics().height();
    return QRectF{rect()}.adjusted(cMargin, text + cMargin, -cMargin, -text - cMargin);
}

double HistogramWidget::GetPosition(double x) const
{
    const QRectF plot = GetPlot();
    return std::clamp((x - plot.left()) / std::max(plot.width(), 1.0), 0.0, 1.0);
}

double HistogramWidget::GetX(double durationMs) const
{
    const QRectF plot = GetPlot();
    return plot.left() + mHistogram.GetPosition(durationMs, mIsLogarithmic) * plot.width();
}

void HistogramWidget::paintEvent(QPaintEvent*)
{
    QPainter painter{this};
    painter.fillRect(rect(), palette().base());
    if (mHistogram.mStatistics.Count > 0)
    {
        PaintBars(painter);
        PaintRange(painter);
        PaintMarks(painter);
        PaintEnds(painter);
    }
    else
    {
        painter.setPen(palette().color(QPalette::Disabled, QPalette::Text));
        painter.drawText(rect(), Qt::AlignCenter, tr("No durations"));
    }
    if (hasFocus())
    {
        painter.setPen(palette().color(QPalette::Highlight));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

void HistogramWidget::PaintBars(QPainter& painter) const
{
    const DurationHistogram::Bins& bins = mIsLogarithmic ? mHistogram.mLogarithmic : mHistogram.mLinear;
    const double highest = *std::max_element(bins.begin(), bins.end());
    const QRectF plot = GetPlot();
    const double width = plot.width() / static_cast<double>(bins.size());
    QColor colour = palette().color(QPalette::Highlight);
    colour.setAlphaF(0.75);
    for (std::size_t i = 0; i < bins.size(); ++i)
    {
        if (bins[i] == 0)
            continue;
        // The square root keeps a single slow occurrence in sight beside a million fast ones.
        const double height = std::max(1.0, std::sqrt(bins[i] / highest) * plot.height());
        painter.fillRect(
            QRectF{plot.left() + static_cast<double>(i) * width, plot.bottom() - height, std::max(width, 1.0), height},
            colour);
    }
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawLine(plot.bottomLeft(), plot.bottomRight());
}

void HistogramWidget::PaintRange(QPainter& painter) const
{
    if (!mRange)
        return;
    const QRectF plot = GetPlot();
    const double left = GetX(mRange->first);
    const double right = std::max(GetX(mRange->second), left + 1.0);
    QColor outside = palette().color(QPalette::Base);
    outside.setAlphaF(0.7);
    painter.fillRect(QRectF{QPointF{plot.left(), plot.top()}, QPointF{left, plot.bottom()}}, outside);
    painter.fillRect(QRectF{QPointF{right, plot.top()}, QPointF{plot.right(), plot.bottom()}}, outside);
    painter.setPen(palette().color(QPalette::Text));
    painter.drawRect(QRectF{QPointF{left, plot.top()}, QPointF{right, plot.bottom()}});
}

void HistogramWidget::PaintMarks(QPainter& painter) const
{
    const ChartStatistics& statistics = mHistogram.mStatistics;
    const std::pair<QString, double> marks[] = {
        {tr("median"), statistics.Median}, {tr("p95"), statistics.P95}, {tr("p99"), statistics.P99}};
    const QRectF plot = GetPlot();
    double freeFrom = 0.0;
    for (const auto& [name, duration] : marks)
    {
        const double x = GetX(duration);
        painter.setPen(QPen{palette().color(QPalette::Text), 1.0, Qt::DashLine});
        painter.drawLine(QPointF{x, plot.top()}, QPointF{x, plot.bottom()});
        const QString text = name + " " + MakeText(duration);
        const double textWidth = fontMetrics().horizontalAdvance(text);
        const double left = std::clamp(x - textWidth / 2.0, freeFrom, std::max(freeFrom, width() - textWidth));
        // A mark whose text would stand on the one before, or beyond the edge, goes without.
        if (left + textWidth > width() + 1.0 || left - x > textWidth)
            continue;
        painter.drawText(QPointF{left, plot.top() - cMargin / 2.0}, text);
        freeFrom = left + textWidth + cMargin;
    }
}

void HistogramWidget::PaintEnds(QPainter& painter) const
{
    const QRectF plot = GetPlot();
    const QRectF line{plot.left(), plot.bottom(), plot.width(), height() - plot.bottom()};
    painter.setPen(palette().color(QPalette::Text));
    const QString range = DescribeRange();
    painter.drawText(line, Qt::AlignCenter, range);
    // The ends stand beside the range that is picked, where there is room.
    const double room = (line.width() - fontMetrics().horizontalAdvance(range)) / (range.isEmpty() ? 1.0 : 2.0);
    for (const auto& [position, side] : {std::pair{0.0, Qt::AlignLeft}, std::pair{1.0, Qt::AlignRight}})
    {
        const QString end = MakeText(mHistogram.GetDuration(position, mIsLogarithmic));
        if (fontMetrics().horizontalAdvance(end) + cMargin <= room)
            painter.drawText(line, side | Qt::AlignVCenter, end);
    }
}

void HistogramWidget::Pick(double positionA, double positionB)
{
    const auto [first, last] = std::minmax(positionA, positionB);
    SetRange(Range{mHistogram.GetDuration(first, mIsLogarithmic), mHistogram.GetDuration(last, mIsLogarithmic)});
}

void HistogramWidget::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || mHistogram.mStatistics.Count == 0)
        return;
    mDragStart = GetPosition(event->localPos().x());
    mHasDragged = false;
}

void HistogramWidget::mouseMoveEvent(QMouseEvent* event)
{
    if (!mDragStart)
        return;
    const double position = GetPosition(event->localPos().x());
    mHasDragged = mHasDragged || std::abs(position - *mDragStart) * GetPlot().width() >= cDragDistance;
    if (mHasDragged)
        Pick(*mDragStart, position);
}

void HistogramWidget::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !mDragStart)
        return;
    mDragStart.reset();
    if (!mHasDragged)
        SetRange(std::nullopt);
    emit RangePicked();
}

void HistogramWidget::keyPressEvent(QKeyEvent* event)
{
    const bool isEscape = event->key() == Qt::Key_Escape && mRange;
    const bool isArrow = event->key() == Qt::Key_Left || event->key() == Qt::Key_Right;
    if (!isEscape && (!isArrow || mHistogram.mStatistics.Count == 0))
    {
        QWidget::keyPressEvent(event);
        return;
    }
    if (isEscape)
    {
        SetRange(std::nullopt);
    }
    else
    {
        const double step = (event->key() == Qt::Key_Left ? -1.0 : 1.0) / static_cast<double>(50);
        double first = mRange ? mHistogram.GetPosition(mRange->first, mIsLogarithmic) : 0.0;
        double last = mRange ? mHistogram.GetPosition(mRange->second, mIsLogarithmic) : 1.0;
        double& moved = (event->modifiers() & Qt::ShiftModifier) != 0 ? last : first;
        moved = std::clamp(moved + step, 0.0, 1.0);
        Pick(first, last);
    }
    emit RangePicked();
}

bool HistogramWidget::event(QEvent* event)
{
    if (event->type() == QEvent::ShortcutOverride)
    {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Left || key == Qt::Key_Right || (key == Qt::Key_Escape && mRange))
            event->accept();
    }
    if (event->type() == QEvent::ToolTip && mHistogram.mStatistics.Count > 0)
    {
        const auto* help = static_cast<QHelpEvent*>(event);
        const DurationHistogram::Bins& bins = mIsLogarithmic ? mHistogram.mLogarithmic : mHistogram.mLinear;
        const auto numBins = static_cast<double>(bins.size());
        const double bin = std::min(std::floor(GetPosition(help->pos().x()) * numBins), numBins - 1.0);
        QToolTip::showText(help->globalPos(),
            tr("%1 of %2 to %3")
                .arg(QString::fromStdString(
                         gFormatCount(bins[static_cast<std::size_t>(bin)], "occurrence", "occurrences")),
                    MakeText(mHistogram.GetDuration(bin / numBins, mIsLogarithmic)),
                    MakeText(mHistogram.GetDuration((bin + 1.0) / numBins, mIsLogarithmic))),
            this);
        return true;
    }
    return QWidget::event(event);
}

}
