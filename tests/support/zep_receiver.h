#pragma once

#include <QObject>
#include <QUdpSocket>
#include <QVector>

/** Listens where Wireshark would: collects the datagrams sent to a port of an address. */
class ZepReceiver : public QObject
{
    Q_OBJECT

public:
    static constexpr quint16 zepPort = 17754;
    static constexpr int dataHeaderSize = 32;
    static constexpr int acknowledgementSize = 8;

    /** Binds @p address; ends the process when another one listens there. */
    explicit ZepReceiver(const QString &address = QStringLiteral("127.0.0.1"));

    const QVector<QByteArray> &datagrams() const { return m_datagrams; }
    int count() const { return m_datagrams.size(); }

    /** Returns the radio frames of the data datagrams received so far, in order. */
    QVector<QByteArray> frames() const;

    /** Returns the sequence number that @p datagram of either type carries. */
    static quint32 sequenceNumber(const QByteArray &datagram);

    static bool isData(const QByteArray &datagram);

private:
    void receive();

    QUdpSocket m_socket;
    QVector<QByteArray> m_datagrams;
};
