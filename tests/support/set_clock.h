#pragma once

#include <ctime>

#include <sys/time.h>

/**
 * The clock as a test sets it. A program that is linked with the options in
 * tests/CMakeLists.txt reads this one, by whichever name.
 */
namespace SetClock {

extern time_t seconds; ///< What time() tells.
extern timeval precise; ///< What gettimeofday() tells.

} // namespace SetClock
