#pragma once

#include <QString>

namespace Simulator {

/**
 * A pseudo-terminal in raw mode that plays a serial line: the host opens
 * portPath(), the simulated device uses deviceEnd(). Closed with the object.
 * Construction ends the process (qFatal) when none can be had.
 */
class PseudoTerminal
{
public:
    PseudoTerminal();
    ~PseudoTerminal();
    Q_DISABLE_COPY(PseudoTerminal)

    /** The device's descriptor, non-blocking and close-on-exec; -1 after hangUp(). */
    int deviceEnd() const { return m_deviceEnd; }

    /** The path for the host, such as /dev/pts/3; kept after hangUp(). */
    QString portPath() const { return m_portPath; }

    /** Whether some process holds the host's end open at this moment. */
    bool isHeldOpen() const;

    /** Drops what the host has not read yet, as a real line does when it is closed. */
    void discardUnread();

    /** Closes the device's end: the host sees its port vanish. Harmless when repeated. */
    void hangUp();

private:
    int m_deviceEnd = -1;
    QString m_portPath;
};

} // namespace Simulator
