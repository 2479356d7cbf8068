#pragma once

#include "ProfilerLib/session/TraceEvent.h"

#include <cstdint>
#include <string>

namespace Tests
{

/// Event `number` of the recording `seed`: everyone who makes it makes the same. Of all kinds, with texts of many
/// lengths and few different names; `number` is twice its time.
Profiler::TraceEvent gMakeRecordedEvent(uint64_t seed, uint64_t number);

/// The name of one event in 10000, so that a chart of it stays small.
inline constexpr const char* cRareName = "rare";

/// Whether the file begins with the records of the first `numEvents` events of the recording, byte for byte.
bool gHoldsRecording(const std::string& dataPath, uint64_t seed, uint64_t numEvents);

/// The environment asks for the forms that run for minutes (QUARKSPINDLE_SOAK is set).
bool gIsLongForm();

}
