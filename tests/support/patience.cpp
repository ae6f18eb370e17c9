#include "patience.h"

#include <QTest>

namespace {

int failures = 0;

} // namespace

int patienceMs(int ordinary)
{
    return QTest::currentTestFailed() ? 0 : ordinary >> failures;
}

void loseSomePatience()
{
    constexpr int mostThatMatter = 16;
    if (QTest::currentTestFailed() && failures < mostThatMatter)
        ++failures;
}
