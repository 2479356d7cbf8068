#pragma once

#include <cstdint>

namespace System
{
/// One pointer per thread, null until the thread sets it. The slot belongs to an object and not, as a `thread_local`
/// does, to an image: an object that two images call shows both the same value. What the pointers name is not owned.
class ThreadLocalSlot
{
public:
    ThreadLocalSlot();
    ~ThreadLocalSlot();
    ThreadLocalSlot(const ThreadLocalSlot&) = delete;
    ThreadLocalSlot& operator=(const ThreadLocalSlot&) = delete;

    [[nodiscard]] void* Get() const;
    void Set(void* value);

private:
    uint32_t mKey = 0;
};
}
