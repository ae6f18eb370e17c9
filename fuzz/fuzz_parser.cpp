// Holds the program's parser against its model; parser_check.h says what an input means.

#include "fuzzer.h"
#include "parser_check.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // The probes are timers, which need one.
    static const QCoreApplication application(*argc, *argv);
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray script(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QByteArray disagreement = ParserCheck(script).run();
    if (!disagreement.isEmpty()) {
        std::fputs(disagreement.constData(), stderr);
        std::abort();
    }
    return 0;
}
