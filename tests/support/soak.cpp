#include "soak.h"

#include <QString>

#include <cstdio>

namespace {

/** Set by scripts/soak: one FENNIX_SOAK_SHARE th of the whole is run. */
constexpr char shareVariable[] = "FENNIX_SOAK_SHARE";
constexpr char seedVariable[] = "FENNIX_SOAK_SEED";
constexpr int everydayShare = 100;

int valueOf(const char *variable, int otherwise)
{
    bool isNumber = false;
    const int value = qEnvironmentVariableIntValue(variable, &isNumber);
    return isNumber && value > 0 ? value : otherwise;
}

} // namespace

int Soak::portion(int whole, int least)
{
    return qMax(whole / valueOf(shareVariable, everydayShare), least);
}

quint32 Soak::seed()
{
    return static_cast<quint32>(valueOf(seedVariable, 1));
}

void Soak::showProgress(int done, int all)
{
    std::printf("progress: %d\n", 100 * done / all);
    std::fflush(stdout);
}

void Soak::printFigures(const QString &figures)
{
    std::printf("figures: %s\n", qPrintable(figures));
    std::fflush(stdout);
}
