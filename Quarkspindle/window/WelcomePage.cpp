#include "Quarkspindle/window/WelcomePage.h"

#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

namespace Quarkspindle
{

WelcomePage::WelcomePage(QWidget* parent) : QWidget{parent}, mRecent{new QVBoxLayout}
{
    auto* title = new QLabel{tr("Every occurrence of an event, as a bar"), this};
    QFont font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.6);
    title->setFont(font);
    auto* explanation = new QLabel{
        tr("Open a trace (Chrome Trace Event format: JSON, also gzip or zstd) or a capture, or drop one here."), this};
    explanation->setWordWrap(true);
    auto* open = new QPushButton{tr("Open…"), this};
    open->setObjectName("welcomeOpen");
    connect(open, &QPushButton::clicked, this, &WelcomePage::OpenAsked);

    auto* layout = new QVBoxLayout{this};
    const int margin = fontMetrics().height() * 3;
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->setSpacing(fontMetrics().height());
    layout->addWidget(title);
    layout->addWidget(explanation);
    layout->addWidget(open, 0, Qt::AlignLeft);
    layout->addLayout(mRecent);
    layout->addStretch();
}

void WelcomePage::SetRecentFiles(const QStringList& paths)
{
    while (QLayoutItem* item = mRecent->takeAt(0))
    {
        delete item->widget();
        delete item;
    }
    if (!paths.isEmpty())
        mRecent->addWidget(new QLabel{tr("Recent:"), this});
    for (const QString& path : paths)
    {
        // A key of the desktop's menus is no part of a path.
        auto* button = new QPushButton{QString{path}.replace('&', "&&"), this};
        button->setFlat(true);
        button->setStyleSheet("text-align: left");
        connect(button, &QPushButton::clicked, this, [this, path] { emit PathPicked(path); });
        mRecent->addWidget(button, 0, Qt::AlignLeft);
    }
}

}
