#pragma once

#include <initializer_list>

class QObject;

/** What this process holds, to see whether it grows with what it does. */
struct Footprint
{
    /** Looks now. Counts the objects below @p parents, timers among them. */
    Footprint(std::initializer_list<const QObject *> parents);

    static int openDescriptors();

    int descriptors;
    int objects = 0;
    int residentKilobytes;
    int allocatedKilobytes; ///< Under AddressSanitizer always the same.
};
