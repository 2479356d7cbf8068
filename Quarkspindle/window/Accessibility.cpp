#include "Quarkspindle/window/Accessibility.h"

#include <QtGui/QAccessible>
#include <QtWidgets/QAccessibleWidget>
#include <QtWidgets/QOpenGLWidget>

#include "Quarkspindle/window/HistogramWidget.h"

namespace Quarkspindle
{

namespace
{

/// A picture of numbers, whose name and description the widget has; the range that is picked is its value.
class PictureInterface final : public QAccessibleWidget
{
public:
    explicit PictureInterface(QWidget* widget) : QAccessibleWidget{widget, QAccessible::Chart} {}

    QString text(QAccessible::Text kind) const override
    {
        const auto* histogram = qobject_cast<const HistogramWidget*>(widget());
        return kind == QAccessible::Value && histogram != nullptr ? histogram->DescribeRange()
                                                                  : QAccessibleWidget::text(kind);
    }
};

/// Qt asks with the name of the object's class, then with those of the classes that it derives from.
QAccessibleInterface* MakeInterface(const QString& className, QObject* object)
{
    const bool isPicture = className == HistogramWidget::staticMetaObject.className() ||
                           className == QOpenGLWidget::staticMetaObject.className();
    return isPicture && object != nullptr ? new PictureInterface{static_cast<QWidget*>(object)} : nullptr;
}

}

void gInstallAccessibility()
{
    QAccessible::installFactory(&MakeInterface);
}

}
