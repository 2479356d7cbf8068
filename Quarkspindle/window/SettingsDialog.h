#pragma once

#include <map>

#include <QtWidgets/QDialog>

#include "ProfilerLib/settings/InputSettings.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QSlider;

namespace Profiler
{
class Settings;
}

namespace Quarkspindle
{

/// Shows the user's settings and takes what the user makes of them. Nothing changes before `Save`.
class SettingsDialog final : public QDialog
{
    Q_OBJECT

public:
    /// The settings must outlive the dialog.
    SettingsDialog(Profiler::Settings& settings, QWidget* parent);

    /// Puts what the dialog shows into the settings, tells those who listen to them, and writes the file. False when
    /// that failed; the settings hold in this run all the same.
    [[nodiscard]] bool Save();

private:
    QWidget* MakeSymbolPage();
    QWidget* MakeInputPage();
    QWidget* MakeDirectoryRow(QLineEdit& edit, const QString& title);
    void AddLocation();
    /// Says what is wrong, and allows OK when nothing is.
    void Check();

    Profiler::Settings& mSettings;
    QListWidget* mLocations;
    QCheckBox* mPublicServer;
    QLineEdit* mSymbolDirectory;
    QLineEdit* mCaptureDirectory;
    std::map<Profiler::EAction, QComboBox*> mKeys;
    QSlider* mWheel;
    QSlider* mMove;
    QLabel* mProblem; ///< why it cannot be saved; empty when it can
    QPushButton* mOk = nullptr;
};

}
