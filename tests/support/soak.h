#pragma once

#include <QtGlobal>

class QString;

/** How much of a long test is run: all of it in a soak, a small part of it every day. */
namespace Soak {

/** Returns @p whole in a soak, and otherwise the hundredth part of it, but at least @p least. */
int portion(int whole, int least = 1);

/** Returns what chance begins with; the same seed makes the same test. */
quint32 seed();

/** Tells whoever waits how much of the test is done, for scripts/soak to show. */
void showProgress(int done, int all);

/** Prints what the test has measured, for the table of scripts/soak. */
void printFigures(const QString &figures);

} // namespace Soak
