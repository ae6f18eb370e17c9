#include "port_guard.h"

#include <QCoreApplication>
#include <QEvent>
#include <QSignalBlocker>

PortGuard::PortGuard()
{
    qApp->installEventFilter(this);
}

PortGuard::~PortGuard()
{
    for (const QPointer<QSerialPort> &port : qAsConst(m_ports)) {
        if (!port || !port->isOpen())
            continue;
        const QSignalBlocker nobodyHears(port);
        port->close();
    }
}

bool PortGuard::eventFilter(QObject *watched, QEvent *event)
{
    // A port that is opened gets the objects that watch its descriptor.
    auto *port = qobject_cast<QSerialPort *>(watched);
    if (port && event->type() == QEvent::ChildAdded && !m_ports.contains(port))
        m_ports.append(port);
    return false;
}
