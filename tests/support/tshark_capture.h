#pragma once

#include <QProcess>
#include <QVector>

/**
 * Wireshark's terminal program, capturing the datagrams of the forwarder on a network
 * interface for as long as it lives.
 */
class TsharkCapture
{
public:
    /** One datagram as tshark dissected it. */
    struct Packet
    {
        QByteArray payload; ///< Of the datagram, ZEP header included.
        QString protocols; ///< Layers from the outside in, "eth:ethertype:ip:udp:fennix:zep:...".
        int channel; ///< Of the ZEP header; 0 in an acknowledgement.
        quint32 sequenceNumber; ///< Of the ZEP header.
        bool malformed; ///< tshark could not make sense of some part of it.
        bool hasBadCheckSequence; ///< It is marked "Bad FCS".
        int missing; ///< Frames that are missing in front of it.
        QString source; ///< Address of the machine that sent it.
    };

    /**
     * Starts to capture and waits until datagrams are really seen, by sending some to
     * @p reachable, an address beyond the interface. Ends the test program (qFatal)
     * when the machine does not allow it.
     */
    explicit TsharkCapture(const QString &networkInterface = QStringLiteral("lo"),
                           const QString &reachable = QStringLiteral("127.0.0.1"));
    ~TsharkCapture();
    Q_DISABLE_COPY(TsharkCapture)

    /** Waits for @p count datagrams for as long as some come; returns how many there are. */
    int await(int count);

    /** Returns what has been captured so far, in order. */
    const QVector<Packet> &packets();

private:
    void readLines();

    QProcess m_tshark;
    QVector<Packet> m_packets;
    bool m_ready = false;
};
