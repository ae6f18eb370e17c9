#pragma once

#include <umockdev.h>

namespace Simulator {

/**
 * A handler under which every ioctl on a mocked port succeeds without an effect;
 * unhandled, QSerialPort would report the exclusive access it cannot have as an
 * error. The caller owns the reference.
 */
UMockdevIoctlBase *newIoctlHandler();

} // namespace Simulator
