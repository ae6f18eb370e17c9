#include "flashing_process.h"

#include <csignal>

void FlashingProcess::letFinish(QProcess &process, int patienceMs)
{
    if (process.state() == NotRunning || process.waitForFinished(patienceMs))
        return;
    static QProcess *leftToItself;
    leftToItself = &process;
    leftToItself->setParent(nullptr);
}

void FlashingProcess::setupChildProcess()
{
    // Without a reader, an output that is written all the same must not end the tool.
    std::signal(SIGPIPE, SIG_IGN);
}
