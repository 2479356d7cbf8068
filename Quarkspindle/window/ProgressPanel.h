#pragma once

#include <string>

#include <QtCore/QTimer>
#include <QtWidgets/QWidget>

#include "Quarkspindle/window/CaptureOpener.h"

class QLabel;
class QProgressBar;

namespace Quarkspindle
{

/// What a tab shows while its capture is opened: what is done, how fast, how long it will still take, and a button that
/// ends it.
class ProgressPanel final : public QWidget
{
    Q_OBJECT

public:
    /// The progress must outlive the panel, which only reads it.
    ProgressPanel(const OpeningProgress& progress, const QString& path, QWidget* parent);

signals:
    void Cancelled();

private:
    void Show();

    const OpeningProgress& mProgress;
    OpeningProgress::EPhase mPhase = OpeningProgress::EPhase::Loading;
    double mPhaseStart = 0.0; ///< seconds
    QLabel* mWhat;
    QProgressBar* mBar;
    QLabel* mRate;
    QTimer mTimer;
};

}
