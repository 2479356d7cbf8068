#include "Quarkspindle/window/SettingsDialog.h"

#include <algorithm>
#include <set>

#include <QtCore/QDir>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSlider>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QVBoxLayout>

#include "ProfilerLib/settings/Settings.h"

namespace Quarkspindle
{

namespace
{

constexpr int cSensitivitySteps = 100;

QSlider* MakeSensitivity(float value)
{
    auto* slider = new QSlider{Qt::Horizontal};
    slider->setRange(0, cSensitivitySteps);
    slider->setPageStep(10);
    slider->setValue(static_cast<int>(value * cSensitivitySteps + 0.5F));
    return slider;
}

float GetSensitivity(const QSlider& slider)
{
    return static_cast<float>(slider.value()) / static_cast<float>(cSensitivitySteps);
}

QComboBox* MakeKeyBox(Input::EKeyCode key)
{
    // What can be held down beside the mouse without doing anything else.
    std::vector<Input::EKeyCode> keys = {Input::EKeyCode::None, Input::EKeyCode::Alt, Input::EKeyCode::Control,
        Input::EKeyCode::Shift, Input::EKeyCode::Meta, Input::EKeyCode::Space, Input::EKeyCode::X, Input::EKeyCode::Y,
        Input::EKeyCode::Z};
    if (std::find(keys.begin(), keys.end(), key) == keys.end())
        keys.push_back(key);
    auto* box = new QComboBox;
    for (const Input::EKeyCode code : keys)
    {
        box->addItem(QString::fromStdString(Input::gGetKeyName(code)), static_cast<int>(code));
        if (code == key)
            box->setCurrentIndex(box->count() - 1);
    }
    return box;
}

QListWidgetItem* MakeLocationItem(const QString& name, bool isEnabled)
{
    auto* item = new QListWidgetItem{name};
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable | Qt::ItemIsUserCheckable |
                   Qt::ItemIsDragEnabled);
    item->setCheckState(isEnabled ? Qt::Checked : Qt::Unchecked);
    return item;
}

}

SettingsDialog::SettingsDialog(Profiler::Settings& settings, QWidget* parent)
    : QDialog{parent},
      mSettings{settings},
      mLocations{new QListWidget},
      mPublicServer{new QCheckBox{tr("Ask the &public symbol server first")}},
      mSymbolDirectory{new QLineEdit},
      mCaptureDirectory{new QLineEdit},
      mWheel{MakeSensitivity(settings.GetInputSettings().GetMouseWheelSensitivity(false))},
      mMove{MakeSensitivity(settings.GetInputSettings().GetMouseMoveSensitivity(false))},
      mProblem{new QLabel}
{
    setWindowTitle(tr("Settings"));
    auto* tabs = new QTabWidget;
    tabs->addTab(MakeSymbolPage(), tr("&Symbols and Directories"));
    tabs->addTab(MakeInputPage(), tr("&Keys and Mouse"));
    mProblem->setObjectName("problem");
    auto* buttons = new QDialogButtonBox{QDialogButtonBox::Ok | QDialogButtonBox::Cancel};
    mOk = buttons->button(QDialogButtonBox::Ok);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout{this};
    layout->addWidget(tabs);
    layout->addWidget(mProblem);
    layout->addWidget(buttons);
    Check();
}

QWidget* SettingsDialog::MakeSymbolPage()
{
    const Profiler::SymbolSettings& symbols = mSettings.GetSymbolSettings();
    mPublicServer->setChecked(symbols.UseMicrosoftSymbolServers);
    mLocations->setObjectName("symbolLocations");
    mLocations->setAccessibleName(tr("Symbol locations"));
    mLocations->setDragDropMode(QAbstractItemView::InternalMove);
    for (const Profiler::SymbolLocation& location : symbols.SymbolLocations)
        mLocations->addItem(MakeLocationItem(QString::fromStdString(location.Name), location.Enabled));
    auto* add = new QPushButton{tr("&Add")};
    add->setObjectName("addLocation");
    connect(add, &QPushButton::clicked, this, &SettingsDialog::AddLocation);
    auto* remove = new QPushButton{tr("&Remove")};
    connect(remove, &QPushButton::clicked, this, [this] { delete mLocations->currentItem(); });
    auto* buttons = new QVBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(remove);
    buttons->addStretch();
    auto* locations = new QHBoxLayout;
    locations->addWidget(mLocations);
    locations->addLayout(buttons);

    mSymbolDirectory->setObjectName("symbolDirectory");
    mSymbolDirectory->setText(QString::fromStdString(symbols.GetSymbolCacheDirectory()));
    mCaptureDirectory->setObjectName("captureDirectory");
    mCaptureDirectory->setText(QString::fromStdString(symbols.CaptureTargetDirectory));
    auto* page = new QWidget;
    auto* layout = new QFormLayout{page};
    layout->addRow(new QLabel{tr("Symbols are looked for in these folders and on these servers, in this order:")});
    layout->addRow(mPublicServer);
    layout->addRow(locations);
    layout->addRow(tr("&Folder of symbols:"), MakeDirectoryRow(*mSymbolDirectory, tr("Folder of Symbols")));
    layout->addRow(tr("Folder of &captures:"), MakeDirectoryRow(*mCaptureDirectory, tr("Folder of Captures")));
    return page;
}

QWidget* SettingsDialog::MakeDirectoryRow(QLineEdit& edit, const QString& title)
{
    edit.setAccessibleName(title);
    edit.setMinimumWidth(edit.fontMetrics().averageCharWidth() * 50);
    connect(&edit, &QLineEdit::textChanged, this, &SettingsDialog::Check);
    auto* choose = new QPushButton{tr("Choose…")};
    choose->setAccessibleName(tr("Choose: %1").arg(title));
    connect(choose, &QPushButton::clicked, this, [this, &edit, title] {
        const QString path = QFileDialog::getExistingDirectory(this, title, edit.text());
        if (!path.isEmpty())
            edit.setText(path);
    });
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout{row};
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(&edit, 1);
    layout->addWidget(choose);
    row->setFocusProxy(&edit);
    return row;
}

QWidget* SettingsDialog::MakeInputPage()
{
    const Profiler::InputSettings& input = mSettings.GetInputSettings();
    auto* page = new QWidget;
    auto* layout = new QFormLayout{page};
    layout->addRow(new QLabel{tr("Held down beside the mouse on a chart:")});
    const std::pair<Profiler::EAction, QString> actions[] = {
        {Profiler::EAction::Zoom, tr("&Zoom:")}, {Profiler::EAction::Pan, tr("&Pan:")}};
    for (const auto& [action, text] : actions)
    {
        QComboBox* box = MakeKeyBox(input.GetKey(action));
        mKeys[action] = box;
        connect(box, qOverload<int>(&QComboBox::currentIndexChanged), this, &SettingsDialog::Check);
        layout->addRow(text, box);
    }
    mWheel->setObjectName("wheelSensitivity");
    layout->addRow(tr("Sensitivity of the &wheel:"), mWheel);
    layout->addRow(tr("Sensitivity of &drags:"), mMove);
    return page;
}

void SettingsDialog::AddLocation()
{
    QListWidgetItem* item = MakeLocationItem({}, true);
    mLocations->addItem(item);
    mLocations->setCurrentItem(item);
    mLocations->editItem(item);
}

void SettingsDialog::Check()
{
    const auto isFolder = [](const QLineEdit& edit) {
        return QDir::isAbsolutePath(edit.text().trimmed());
    };
    std::set<int> keys;
    bool areKeysDistinct = true;
    for (const auto& [action, box] : mKeys)
    {
        const int key = box->currentData().toInt();
        areKeysDistinct =
            areKeysDistinct && (key == static_cast<int>(Input::EKeyCode::None) || keys.insert(key).second);
    }
    if (!isFolder(*mSymbolDirectory) || !isFolder(*mCaptureDirectory))
        mProblem->setText(tr("A folder needs its whole path, from the root on."));
    else if (!areKeysDistinct)
        mProblem->setText(tr("Two actions have the same key."));
    else
        mProblem->clear();
    if (mOk != nullptr)
        mOk->setEnabled(mProblem->text().isEmpty());
}

bool SettingsDialog::Save()
{
    Profiler::SymbolSettings& symbols = mSettings.GetSymbolSettings();
    symbols.UseMicrosoftSymbolServers = mPublicServer->isChecked();
    symbols.SymbolLocations.clear();
    for (int i = 0; i < mLocations->count(); ++i)
    {
        const QListWidgetItem& item = *mLocations->item(i);
        if (!item.text().trimmed().isEmpty())
            symbols.SymbolLocations.push_back({item.text().trimmed().toStdString(), item.checkState() == Qt::Checked});
    }
    symbols.SetSymbolCacheDirectory(mSymbolDirectory->text().trimmed().toStdString());
    symbols.CaptureTargetDirectory = mCaptureDirectory->text().trimmed().toStdString();

    Profiler::InputSettings& input = mSettings.GetInputSettings();
    Profiler::InputSettings::KeyMap keys = input.GetKeyMap();
    for (const auto& [action, box] : mKeys)
        keys[action] = static_cast<Input::EKeyCode>(box->currentData().toInt());
    input.SetKeyMappings(keys);
    input.SetMouseWheelSensitivity(GetSensitivity(*mWheel));
    input.SetMouseMoveSensitivity(GetSensitivity(*mMove));
    mSettings.ChangeListeners.Fire();
    return mSettings.Save();
}

}
