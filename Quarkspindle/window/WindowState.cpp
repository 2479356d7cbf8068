#include "Quarkspindle/window/WindowState.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace Quarkspindle
{

namespace
{

constexpr int cMostRecentFiles = 10;
constexpr int cMostCharts = 100;

// Captures are one list, the latest first, of records with these keys.
constexpr const char* cCharts = "charts";

QString MakeKey(const std::string& sessionPath)
{
    return QFileInfo{QString::fromStdString(sessionPath)}.absoluteFilePath();
}

}

QString WindowState::sGetDefaultPath()
{
    const QString chosen = qEnvironmentVariable("XDG_STATE_HOME");
    const QString folder = QDir::isAbsolutePath(chosen) ? chosen : QDir::homePath() + "/.local/state";
    return folder + "/quarkspindle/window.ini";
}

WindowState::WindowState(const QString& path) : mFile{path, QSettings::IniFormat} {}

QByteArray WindowState::Get(const QString& name) const
{
    return mFile.value("window/" + name).toByteArray();
}

void WindowState::Set(const QString& name, const QByteArray& state)
{
    mFile.setValue("window/" + name, state);
}

QStringList WindowState::GetRecentFiles() const
{
    return mFile.value("recent").toStringList();
}

void WindowState::AddRecentFile(const QString& path)
{
    QStringList recent = GetRecentFiles();
    recent.removeAll(path);
    recent.prepend(path);
    mFile.setValue("recent", QStringList{recent.mid(0, cMostRecentFiles)});
}

void WindowState::ClearRecentFiles()
{
    mFile.remove("recent");
}

std::optional<WindowState::Chart> WindowState::GetLastChart(const std::string& sessionPath) const
{
    const QString key = MakeKey(sessionPath);
    for (const QVariant& item : mFile.value(cCharts).toList())
    {
        const QStringList record = item.toStringList();
        if (record.size() == 3 && record[0] == key)
            return Chart{record[1].toStdString(), record[2].toInt()};
    }
    return std::nullopt;
}

void WindowState::SetLastChart(const std::string& sessionPath, const Chart& chart)
{
    const QString key = MakeKey(sessionPath);
    QVariantList charts = mFile.value(cCharts).toList();
    charts.erase(std::remove_if(charts.begin(), charts.end(),
                     [&](const QVariant& item) { return item.toStringList().value(0) == key; }),
        charts.end());
    charts.prepend(QStringList{key, QString::fromStdString(chart.mEvent), QString::number(chart.mThreadID)});
    mFile.setValue(cCharts, charts.mid(0, cMostCharts));
}

}
