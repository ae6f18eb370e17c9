#pragma once

#include <cstdint>
#include <ctime>

/** Returns the reading of @p clock in nanoseconds. */
inline int64_t nanoseconds(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return int64_t(time.tv_sec) * 1000000000 + time.tv_nsec;
}
