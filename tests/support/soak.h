#pragma once

#include <QtGlobal>

/** How much of a long test is run: all of it in a soak, a small part of it every day. */
namespace Soak {

/** Returns @p whole in a soak, and otherwise the hundredth part of it, but at least @p least. */
int portion(int whole, int least = 1);

/** Returns what chance begins with; the same seed makes the same test. */
quint32 seed();

} // namespace Soak
