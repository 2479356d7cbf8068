#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "ProfilerLib/controls/KeyboardEventFilter.h"
#include "ProfilerLib/plugin/View.h"
#include "ProfilerLib/settings/KeyboardState.h"
#include "ProfilerLib/settings/Settings.h"
#include "Quarkspindle/Host.h"
#include "Renderer/RenderContext.h"

namespace Quarkspindle
{

/// The long-lived objects of a run with windows: the host's, the user's settings, the keys that are held down, and the
/// one render context. Made once, after the application object and before the first window; all windows are gone before
/// it. The thread of the widgets.
class WindowHost
{
public:
    /// Reads the settings: `settingsPath` is their file, which need not exist. The log of this run replaces that of the
    /// last one at `logPath`; where there can be no such file there is no log.
    WindowHost(const std::string& settingsPath, const std::string& logPath);
    WindowHost(const WindowHost&) = delete;
    WindowHost& operator=(const WindowHost&) = delete;
    ~WindowHost();

    /// quarkspindle.log beside what the window remembers.
    static std::string sGetDefaultLogPath();

    Host& GetHost() { return mHost; }
    Profiler::Settings& GetSettings() { return mSettings; }
    /// Whether a settings file is there that could not be used; the log says why.
    bool AreSettingsDamaged() const { return mAreSettingsDamaged; }

    /// Brings OpenGL up, once for all windows. False where there is none to draw with, and then `reason` is a sentence
    /// that says why; no widget that draws with it may be made there, since Qt would show its whole window black.
    [[nodiscard]] bool StartGraphics(std::string& reason);

    /// What views are handed. The table lives as long as the host.
    Profiler::ViewContext& GetViewContext() { return mViewContext; }

    /// Where traces that are opened become captures.
    const std::string& GetCaptureDirectory() const { return mSettings.GetSymbolSettings().CaptureTargetDirectory; }

private:
    /// Nobody may write to the log from then on.
    struct CloseLog
    {
        void operator()(std::FILE* file) const;
    };

    std::unique_ptr<std::FILE, CloseLog> mLog;
    Host mHost;
    Profiler::Settings mSettings;
    bool mAreSettingsDamaged = false;
    Input::KeyboardState mKeyboardState;
    Profiler::KeyboardEventFilter mKeyboardFilter;
    Renderer::RenderContext mRenderContext;
    Profiler::ViewContext mViewContext;
};

}
