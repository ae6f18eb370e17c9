#include "pseudo_terminal.h"

#include <QFile>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace Simulator {

namespace {

int openHostEnd(const QString &portPath)
{
    return ::open(QFile::encodeName(portPath).constData(),
                  O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
}

bool makeRaw(int descriptor)
{
    termios attributes {};
    if (::tcgetattr(descriptor, &attributes) != 0)
        return false;
    ::cfmakeraw(&attributes);
    ::cfsetspeed(&attributes, B38400);
    return ::tcsetattr(descriptor, TCSANOW, &attributes) == 0;
}

} // namespace

PseudoTerminal::PseudoTerminal()
    : m_deviceEnd(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    char name[64] = "";
    const bool named = m_deviceEnd >= 0 && ::grantpt(m_deviceEnd) == 0
        && ::unlockpt(m_deviceEnd) == 0 && ::ptsname_r(m_deviceEnd, name, sizeof name) == 0;
    m_portPath = QFile::decodeName(name);

    // Opened and closed once, the host's end counts as closed: before that, the
    // kernel does not tell the device's end that nobody is there.
    const int hostEnd = named ? openHostEnd(m_portPath) : -1;
    if (hostEnd < 0 || !makeRaw(hostEnd))
        qFatal("No pseudo-terminal can be had: %s", std::strerror(errno));
    ::close(hostEnd);
}

PseudoTerminal::~PseudoTerminal()
{
    hangUp();
}

bool PseudoTerminal::isHeldOpen() const
{
    pollfd state {m_deviceEnd, 0, 0};
    return m_deviceEnd >= 0 && ::poll(&state, 1, 0) >= 0 && (state.revents & POLLHUP) == 0;
}

void PseudoTerminal::discardUnread()
{
    // Only a flush through the host's end reaches the bytes that wait there.
    const int hostEnd = openHostEnd(m_portPath);
    if (hostEnd < 0)
        return;
    ::tcflush(hostEnd, TCIFLUSH);
    ::close(hostEnd);
}

void PseudoTerminal::hangUp()
{
    if (m_deviceEnd >= 0)
        ::close(std::exchange(m_deviceEnd, -1));
}

} // namespace Simulator
