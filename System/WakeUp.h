#pragma once

namespace System
{
/// Ends the waits of threads that wait for the system: they wait for its descriptor as well. Stays set until it is
/// reset. Any thread.
class WakeUp
{
public:
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /// False when the system had nothing left to make it of.
    [[nodiscard]] bool IsValid() const { return mDescriptor >= 0; }
    void Set();
    void Reset();

    /// Readable while it is set.
    [[nodiscard]] int GetDescriptor() const { return mDescriptor; }

private:
    int mDescriptor = -1;
};
}
