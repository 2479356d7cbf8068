#include "Quarkspindle/window/MessageStrip.h"

#include <QtGui/QAccessible>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QStyle>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

namespace Quarkspindle
{

namespace
{

constexpr int cMostMessages = 4;

/// The desktop's own colours, turned a little to red or blue, so that it fits a dark desktop as well as a light one.
QPalette MakePalette(QPalette palette, MessageStrip::EKind kind)
{
    const QColor base = palette.color(QPalette::Window);
    const QColor tint = kind == MessageStrip::EKind::Error ? QColor{220, 50, 50} : QColor{50, 120, 220};
    constexpr double cShare = 0.25;
    const auto mix = [&](int a, int b) {
        return static_cast<int>(a * (1.0 - cShare) + b * cShare);
    };
    palette.setColor(QPalette::Window,
        QColor{mix(base.red(), tint.red()), mix(base.green(), tint.green()), mix(base.blue(), tint.blue())});
    return palette;
}

class Message final : public QFrame
{
public:
    Message(MessageStrip::EKind kind, const QString& text, QWidget* parent) : QFrame{parent}, mText{text}
    {
        setFrameShape(QFrame::StyledPanel);
        setAutoFillBackground(true);
        setPalette(MakePalette(palette(), kind));
        auto* icon = new QLabel{this};
        const int iconSize = style()->pixelMetric(QStyle::PM_SmallIconSize);
        icon->setPixmap(style()
                            ->standardIcon(kind == MessageStrip::EKind::Error ? QStyle::SP_MessageBoxWarning
                                                                              : QStyle::SP_MessageBoxInformation)
                            .pixmap(iconSize));
        auto* label = new QLabel{text, this};
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        auto* close = new QToolButton{this};
        close->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
        close->setAutoRaise(true);
        close->setAccessibleName(MessageStrip::tr("Put the message away"));
        close->setToolTip(close->accessibleName());
        connect(close, &QToolButton::clicked, this, &QObject::deleteLater);
        auto* layout = new QHBoxLayout{this};
        layout->setContentsMargins(8, 4, 4, 4);
        layout->addWidget(icon);
        layout->addWidget(label, 1);
        layout->addWidget(close);
        setAccessibleName(text);
    }

    const QString& GetText() const { return mText; }

private:
    QString mText;
};

}

MessageStrip::MessageStrip(QWidget* parent) : QWidget{parent}, mLayout{new QVBoxLayout{this}}
{
    mLayout->setContentsMargins(0, 0, 0, 0);
    mLayout->setSpacing(1);
}

void MessageStrip::Show(EKind kind, const QString& text)
{
    if (GetTexts().contains(text))
        return;
    if (mLayout->count() >= cMostMessages)
        delete mLayout->itemAt(0)->widget();
    auto* message = new Message{kind, text, this};
    mLayout->addWidget(message);
    QAccessibleEvent alert{message, QAccessible::Alert};
    QAccessible::updateAccessibility(&alert);
}

void MessageStrip::Clear()
{
    while (mLayout->count() > 0)
        delete mLayout->itemAt(0)->widget();
}

QStringList MessageStrip::GetTexts() const
{
    QStringList texts;
    for (int i = 0; i < mLayout->count(); ++i)
        texts.append(static_cast<Message*>(mLayout->itemAt(i)->widget())->GetText());
    return texts;
}

}
