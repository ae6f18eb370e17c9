#include "port_holder.h"

#include <QFile>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/** Past the mocked machine, which knows no such request and refuses it. */
bool request(int port, unsigned long number)
{
    return ::syscall(SYS_ioctl, port, number) == 0;
}

/** Runs in the other process: holds the port until the other end of @p leash is closed. */
void hold(const char *portPath, int leash)
{
    const int port = ::open(portPath, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (port < 0 || !request(port, TIOCEXCL))
        return;
    char byte = 0;
    if (::write(leash, &byte, 1) == 1)
        while (::read(leash, &byte, 1) > 0) {
        }
    // A pseudo-terminal stays exclusive when it is only closed.
    request(port, TIOCNXCL);
}

} // namespace

PortHolder::PortHolder(const QString &portPath)
{
    const QByteArray path = QFile::encodeName(portPath);
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        qFatal("no socket pair");
    m_process = ::fork();
    if (m_process == 0) {
        ::close(ends[0]);
        hold(path.constData(), ends[1]);
        ::_exit(0);
    }
    ::close(ends[1]);
    m_leash = ends[0];
    char byte = 0;
    if (m_process < 0 || ::read(m_leash, &byte, 1) != 1)
        qFatal("the other process does not hold %s", path.constData());
}

PortHolder::~PortHolder()
{
    ::close(m_leash);
    ::waitpid(m_process, nullptr, 0);
}
