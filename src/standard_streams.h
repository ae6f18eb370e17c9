#pragma once

/** The standard input and outputs that whoever starts the program gives it, or does not. */
namespace StandardStreams {

/**
 * Lets the program go on without them: one that is closed leads to nowhere from now on, and
 * an output that nobody reads any more is an error of that output only.
 */
void secure();

} // namespace StandardStreams
