#include "termination_signals.h"

#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A signal handler may do little more than write to a pipe.
int pipeEnds[2] = {-1, -1};

void handle(int signalNumber)
{
    const char byte = static_cast<char>(signalNumber);
    const ssize_t ignored = ::write(pipeEnds[1], &byte, 1);
    static_cast<void>(ignored);
}

} // namespace

TerminationSignals::TerminationSignals(QObject *parent)
    : QObject(parent)
{
    if (::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        qFatal("No pipe can be had");
    m_readable = std::make_unique<QSocketNotifier>(pipeEnds[0], QSocketNotifier::Read);
    connect(m_readable.get(), &QSocketNotifier::activated, this, &TerminationSignals::read);
    std::signal(SIGINT, &handle);
    std::signal(SIGTERM, &handle);
}

TerminationSignals::~TerminationSignals()
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    m_readable.reset();
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
}

void TerminationSignals::read()
{
    char byte = 0;
    while (::read(pipeEnds[0], &byte, 1) == 1)
        emit caught(byte);
}
