// The floor with Qt: its serial port, its socket and its event loop, but no window.

#include "../zep_port.h"
#include "ready.h"
#include "zep.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <QSerialPort>
#include <QUdpSocket>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QSerialPort port(QCoreApplication::arguments().value(1));
    port.setBaudRate(QSerialPort::Baud38400);
    if (!port.open(QIODevice::ReadWrite))
        return 1;

    QUdpSocket socket;
    const QHostAddress destination(QHostAddress::LocalHost);
    ZepFraming framing;
    QObject::connect(&port, &QSerialPort::readyRead, &port, [&] {
        const QByteArray bytes = port.readAll();
        for (const char byte : bytes) {
            const int size = framing.take(static_cast<uint8_t>(byte));
            if (size > 0)
                socket.writeDatagram(reinterpret_cast<const char *>(framing.datagram()), size,
                                     destination, zepPort);
        }
    });
    sayReady();
    return QCoreApplication::exec();
}
