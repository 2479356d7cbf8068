#pragma once

#include <functional>
#include <memory>

#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"

/// What the three kinds of job do. Each call is one whole job, on one thread, and always gives an answer; why there are
/// no symbols is written to the log, and into the answers that have room for it.
namespace Symbols
{

class JobControl;

/// Finds the symbols, and writes those of the module to the job's file. Where there are none to be had, the file says
/// so, and that is a success too.
std::unique_ptr<Profiler::ConvertPDBResult> gConvert(const Profiler::ConvertPDBJob& job, const JobControl& control);

/// The source line and the instructions of a function.
std::unique_ptr<Profiler::FunctionData> gResolveFunctionData(
    const Profiler::ResolveFunctionDataJob& job, const JobControl& control);

/// The source lines of addresses; with their files as `SourceLineData` when the job is a `ResolveSourceLinesJob`.
std::unique_ptr<Profiler::FunctionLineData> gResolveLineData(
    const Profiler::ResolveLineDataJob& job, const JobControl& control);

}
