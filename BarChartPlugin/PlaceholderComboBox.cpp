#include "BarChartPlugin/PlaceholderComboBox.h"

#include <QtGui/QPainter>
#include <QtWidgets/QStyle>
#include <QtWidgets/QStyleOptionComboBox>

namespace Profiler
{

void PlaceholderComboBox::SetPlaceholderText(const std::string& text)
{
    mPlaceholderText = text;
    update();
}

void PlaceholderComboBox::paintEvent(QPaintEvent*)
{
    QPainter painter{this};
    painter.setPen(palette().color(QPalette::Text));
    QStyleOptionComboBox option;
    initStyleOption(&option);
    style()->drawComplexControl(QStyle::CC_ComboBox, &option, &painter, this);
    if (option.currentText.isEmpty() && currentIndex() == -1)
        option.currentText = QString::fromStdString(mPlaceholderText);
    style()->drawControl(QStyle::CE_ComboBoxLabel, &option, &painter, this);
}

}
