#pragma once

#include <QtWidgets/QWidget>

class QVBoxLayout;

namespace Quarkspindle
{

/// What the window shows while nothing is open: how to open something, and what was open of late.
class WelcomePage final : public QWidget
{
    Q_OBJECT

public:
    explicit WelcomePage(QWidget* parent = nullptr);

    void SetRecentFiles(const QStringList& paths);

signals:
    void OpenAsked();
    void PathPicked(const QString& inPath);

private:
    QVBoxLayout* mRecent;
};

}
