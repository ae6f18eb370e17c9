#include "set_clock.h"

time_t SetClock::seconds;
timeval SetClock::precise;

// The linker leads the program's readings of the clock here.
extern "C" {

time_t __wrap_time(time_t *now)
{
    if (now)
        *now = SetClock::seconds;
    return SetClock::seconds;
}

int __wrap_gettimeofday(timeval *now, void * /*zone*/)
{
    *now = SetClock::precise;
    return 0;
}

// What they are called on a 32-bit system whose time_t has 64 bits.
[[gnu::alias("__wrap_time")]] time_t __wrap___time64(time_t *now);
[[gnu::alias("__wrap_gettimeofday")]] int __wrap___gettimeofday64(timeval *now, void *zone);
}
