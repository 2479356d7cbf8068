#include "System/WakeUp.h"

#include <sys/eventfd.h>
#include <unistd.h>

System::WakeUp::WakeUp() : mDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

System::WakeUp::~WakeUp()
{
    if (mDescriptor >= 0)
    {
        close(mDescriptor);
    }
}

void System::WakeUp::Set()
{
    // It only fails when it is set many times over.
    [[maybe_unused]] const int result = eventfd_write(mDescriptor, 1);
}

void System::WakeUp::Reset()
{
    eventfd_t value = 0;
    [[maybe_unused]] const int result = eventfd_read(mDescriptor, &value);
}
