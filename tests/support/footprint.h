#pragma once

class QObject;

/** What this process holds, to see whether it grows with what it does. */
namespace Footprint {

/** Returns how many descriptors are open. */
int openDescriptors();

/** Returns how much memory is resident, in kB. */
int residentKilobytes();

/** Returns how much memory is allocated, in kB; under AddressSanitizer always the same. */
int allocatedKilobytes();

/** Returns how many objects live below @p object, timers among them. */
int objectsBelow(const QObject &object);

} // namespace Footprint
