#pragma once

#include <string>

namespace Symbols
{

/// What keeps a process that reads untrusted files from doing harm: it ends with the process that started it, does not
/// take an interrupt from a terminal that is meant for that one, and gets no more than 4 GiB of address space. (A
/// sanitizer reserves more than that; such a build has no limit.) Called first of all, by the main thread.
void gGuardProcess();

/// When a signal is about to end the process, says so on standard output, and in the log file unless its path is empty,
/// with the text of `gSetCurrentWork`. Called once, before other threads start.
void gReportCrashes(const std::string& logFilePath);

/// What a crash report says the process was doing. One thread.
void gSetCurrentWork(const std::string& text);

/// Ends the process now, whatever its threads are doing.
[[noreturn]] void gEndProcess(int exitCode);

}
