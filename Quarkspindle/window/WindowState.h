#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <QtCore/QByteArray>
#include <QtCore/QSettings>
#include <QtCore/QStringList>

namespace Quarkspindle
{

/// What the window remembers from one run to the next: its place and splitters, recent files, and the last chart of
/// each capture. Kept apart from the user's settings, in window.ini in `$XDG_STATE_HOME/quarkspindle` (else in
/// ~/.local/state/quarkspindle); a file that is lost or damaged costs nothing but the memory.
class WindowState
{
public:
    struct Chart
    {
        std::string mEvent;
        int32_t mThreadID = 0;
    };

    /// Where the file lies on this machine.
    static QString sGetDefaultPath();

    explicit WindowState(const QString& path);

    QByteArray Get(const QString& name) const;
    void Set(const QString& name, const QByteArray& state);

    /// The latest first; only so many are kept.
    QStringList GetRecentFiles() const;
    void AddRecentFile(const QString& path);
    void ClearRecentFiles();

    /// By the path of its session file.
    std::optional<Chart> GetLastChart(const std::string& sessionPath) const;
    void SetLastChart(const std::string& sessionPath, const Chart& chart);

private:
    QSettings mFile;
};

}
