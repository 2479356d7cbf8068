#pragma once

#include "Importers/TraceImporter.h"
#include "ProfilerLib/plugin/Plugin.h"

#include <string>

namespace System
{
class JobScheduler;
}

namespace Importers
{
/// What a new capture is made with.
struct CaptureServices
{
    System::JobScheduler* mJobScheduler = nullptr;
    /// Their models become part of the capture. May be null.
    const Profiler::PluginList* mPlugins = nullptr;
};

/// Where a trace's capture lies unless the user says otherwise: beside the trace, in a directory of its name without
/// ".gz" or ".zst" and without the last extension ("x.capture" when nothing was taken off).
std::string gGetCaptureDirectory(const std::string& tracePath);

/// The session file of a capture directory, `<dir>/<name>.session` with the directory's name.
std::string gGetCaptureSessionPath(const std::string& directory);

/// Imports a trace into a new capture at `directory`, whose parents are made when they are not there. It is built in a
/// temporary directory beside its target and renamed when it is complete and on the disk, so a half capture never has
/// the name of a whole one; after a failure or a cancellation nothing remains. A directory that exists already is an
/// error without `force`; with it, it is replaced in one step, and only if it is a capture or empty. The return value
/// is that of gImportTrace.
[[nodiscard]] bool gImportCapture(const std::string& tracePath, const std::string& directory, bool force,
    const ImportOptions& options, const CaptureServices& services, ImportReport& report, Utility::Result& result);
}
