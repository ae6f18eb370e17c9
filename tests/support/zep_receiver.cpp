#include "zep_receiver.h"

#include <QNetworkDatagram>
#include <QtEndian>

ZepReceiver::ZepReceiver(const QString &address)
{
    if (!m_socket.bind(QHostAddress(address), zepPort))
        qFatal("cannot listen on %s: %s", qPrintable(address), qPrintable(m_socket.errorString()));
    // Room for the bursts of a device that sends without a pause.
    m_socket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 4 * 1024 * 1024);
    connect(&m_socket, &QUdpSocket::readyRead, this, &ZepReceiver::receive);
}

QVector<QByteArray> ZepReceiver::frames() const
{
    QVector<QByteArray> frames;
    for (const QByteArray &datagram : m_datagrams) {
        if (isData(datagram))
            frames.append(datagram.mid(dataHeaderSize));
    }
    return frames;
}

quint32 ZepReceiver::sequenceNumber(const QByteArray &datagram)
{
    const int offset = isData(datagram) ? 17 : 4;
    return qFromBigEndian<quint32>(datagram.constData() + offset);
}

bool ZepReceiver::isData(const QByteArray &datagram)
{
    return datagram.at(3) == 1;
}

void ZepReceiver::receive()
{
    while (m_socket.hasPendingDatagrams())
        m_datagrams.append(m_socket.receiveDatagram().data());
}
