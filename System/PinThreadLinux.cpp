#include "System/PinThread.h"

#include <sched.h>

void System::gPinThread(int index)
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof(allowed), &allowed) != 0 || CPU_COUNT(&allowed) == 0)
    {
        return;
    }
    int toSkip = index % CPU_COUNT(&allowed);
    int processor = 0;
    while (!CPU_ISSET(processor, &allowed) || toSkip-- > 0)
    {
        ++processor;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processor, &one);
    (void)sched_setaffinity(0, sizeof(one), &one);
}
