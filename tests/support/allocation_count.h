#pragma once

/** Counts what a program that is linked with it allocates, the C library's own calls included. */
namespace AllocationCount {

extern thread_local int made; ///< Allocations of this thread so far.

} // namespace AllocationCount
