#include "network.h"

#include <QProcess>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace {

/** Refers to the network that the process is in, also when it is in another one. */
int currentNetwork()
{
    const int descriptor = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        qFatal("no network to refer to: %s", strerror(errno));
    return descriptor;
}

void enterNetwork(int descriptor)
{
    if (setns(descriptor, CLONE_NEWNET) != 0)
        qFatal("cannot enter a network: %s", strerror(errno));
}

} // namespace

void Network::configure(const QStringList &commands)
{
    for (const QString &command : commands) {
        QProcess ip;
        ip.start("ip", command.split(' '));
        if (!ip.waitForFinished() || ip.exitCode() != 0)
            qFatal("ip %s: %s", qPrintable(command), ip.readAllStandardError().constData());
    }
}

void Network::renew()
{
    if (unshare(CLONE_NEWNET) != 0)
        qFatal("no further network: %s", strerror(errno));
}

FarMachine::FarMachine()
    : m_here(currentNetwork())
{
    Network::renew();
    m_there = currentNetwork();
    // A socket stays in the network where it was made.
    m_receiver = std::make_unique<ZepReceiver>("0.0.0.0");
    enterNetwork(m_here);
    layCable();
}

FarMachine::~FarMachine()
{
    configure({"link delete cable-end"});
    close(m_there);
    close(m_here);
}

void FarMachine::layCable() const
{
    const QString here = QString("/proc/%1/fd/%2").arg(getpid()).arg(m_here);
    configure({"link add cable-end type veth peer name cable netns " + here,
               QString("address add %1/24 dev cable-end").arg(address), "link set cable-end up"});
    Network::configure({"address add 192.0.2.1/24 dev cable", "link set cable up"});
}

void FarMachine::configure(const QStringList &commands) const
{
    enterNetwork(m_there);
    Network::configure(commands);
    enterNetwork(m_here);
}
