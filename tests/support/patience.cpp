#include "patience.h"

#include <QTest>

namespace {

int failures = 0;

} // namespace

int patienceMs(int ordinary)
{
    return QTest::currentTestFailed() ? 0 : ordinary >> (2 * failures);
}

void loseSomePatience()
{
    constexpr int mostThatMatter = 8;
    if (QTest::currentTestFailed() && failures < mostThatMatter)
        ++failures;
}
