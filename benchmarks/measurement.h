#pragma once

#include "frame_source.h"

#include <cstdint>

struct Subject;

/** What a run of frames through a subject has shown. */
struct ForwardingResult
{
    double cpuPerFrame = 0; ///< Microseconds.
    double medianLatency = 0; ///< Microseconds from the write to the tty to the datagram.
    double highLatency = 0; ///< The 99th percentile of it.
    long memory = 0; ///< Kilobytes resident at the end.
    int lost = 0;
};

/** What a start of a subject has shown. */
struct StartResult
{
    double milliseconds = 0; ///< From the start of the process to the shown window.
    long memory = 0; ///< Kilobytes resident then.
};

/** Sends @p frames through @p subject; ends the benchmark when it does not work. */
ForwardingResult measureForwarding(const Subject &subject, FrameSource::Rate rate, int frames);

/** Returns how many instructions of its own @p subject takes for each frame, by valgrind. */
double countInstructions(const Subject &subject, FrameSource::Rate rate, int frames);

/** Starts @p subject once. */
StartResult measureStart(const Subject &subject);

/** Returns how many instructions of its own @p subject takes to its shown window, by valgrind. */
int64_t countStart(const Subject &subject);
