#pragma once

#include <atomic>

namespace SpindlemarkAPI
{
/// What a program installs to see the instrumentation scopes of its own code. Called on the thread that runs the scope,
/// from many threads at once; on one thread the calls nest.
class Recorder
{
public:
    Recorder() = default;
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    virtual ~Recorder() = default;

    /// `context` is null when the scope has none. Both texts are valid during the call.
    virtual void Begin(const char* label, const char* context) = 0;
    /// `label` is the one that the scope began with.
    virtual void End(const char* label) = 0;
};

/// Replaces the recorder of this image; null for none. The one before must live until every scope that began on it has
/// ended, since that is where their ends go.
void gInstallRecorder(Recorder* recorder);

namespace Internal
{
extern std::atomic<Recorder*> gRecorder;
}

/// Marks the time from its construction to its end with a name. `label` must outlive the scope, as a literal does.
/// Costs one relaxed load while no recorder is installed.
class [[nodiscard]] InstrumentationScope
{
public:
    explicit InstrumentationScope(const char* label, const char* context = nullptr)
    {
        if (Internal::gRecorder.load(std::memory_order_relaxed) != nullptr) [[unlikely]]
        {
            Begin(label, context);
        }
    }
    ~InstrumentationScope()
    {
        if (mRecorder != nullptr) [[unlikely]]
        {
            mRecorder->End(mLabel);
        }
    }
    InstrumentationScope(const InstrumentationScope&) = delete;
    InstrumentationScope& operator=(const InstrumentationScope&) = delete;

private:
    [[gnu::cold]] void Begin(const char* label, const char* context);

    /// The recorder that saw the begin, and so sees the end.
    Recorder* mRecorder = nullptr;
    const char* mLabel = nullptr;
};
}
