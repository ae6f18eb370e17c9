#pragma once

#include "../clock.h"

#include <cinttypes>
#include <cstdio>

/** Tells the benchmark that the subject works from now on, and when that was. */
inline void sayReady()
{
    std::printf("%" PRId64 "\n", nanoseconds(CLOCK_MONOTONIC));
    std::fflush(stdout);
}
