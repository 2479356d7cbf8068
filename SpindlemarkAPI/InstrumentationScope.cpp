#include "SpindlemarkAPI/InstrumentationScope.h"

namespace SpindlemarkAPI
{
constinit std::atomic<Recorder*> Internal::gRecorder{nullptr};

void gInstallRecorder(Recorder* recorder)
{
    Internal::gRecorder.store(recorder, std::memory_order_release);
}

void InstrumentationScope::Begin(const char* label, const char* context)
{
    // The look before was relaxed: this one makes what was written to the recorder before its installation visible.
    if (Recorder* const recorder = Internal::gRecorder.load(std::memory_order_acquire))
    {
        mRecorder = recorder;
        mLabel = label;
        recorder->Begin(label, context);
    }
}
}
