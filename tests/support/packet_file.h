#pragma once

#include <QFile>
#include <QMetaType>

/** ZEP version 2 datagrams as FENNIX sends them, made without its code. */
namespace Zep {

/** A time of the NTP protocol: seconds since 1900 and parts of a second, 2^32 of them. */
struct Time
{
    quint32 seconds = 3989326200U;
    quint32 fraction = 0;
};

QByteArray data(quint32 number, const QByteArray &frame, int channel = 15, const Time &time = {});
QByteArray acknowledgement(quint32 number);

} // namespace Zep

/** A capture file of UDP packets to the analyser, one a second, for tshark to read. */
class PacketFile
{
public:
    /** Where packets were captured: on a network, or by Wireshark's UDP listener. */
    enum class From { Network, Listener };

    struct Source
    {
        QByteArray address;
        quint16 port;
    };

    /** Writes @p path anew. The listener hands packets to the project's own dissector. */
    explicit PacketFile(const QString &path, From from = From::Network);
    Q_DISABLE_COPY(PacketFile)

    void add(const QByteArray &datagram, const Source &source = {"127.0.0.1", 40000},
             quint16 destinationPort = 17754);

    /** Adds the answer "port unreachable" to a packet, which quotes it whole. */
    void addUnreachable(const QByteArray &datagram, const Source &source = {"127.0.0.1", 40000});

    /** Lets time pass before the next packet. */
    void wait(quint32 seconds) { m_seconds += seconds; }

    /** Adds a packet of which only @p size bytes of the datagram were captured. */
    void addCut(const QByteArray &datagram, int size, const Source &source = {"127.0.0.1", 40000});

private:
    void write(const QByteArray &packet, int captured);

    const From m_from;
    QFile m_file;
    quint32 m_seconds = 1780337400; ///< 1 June 2026, 18:10 UTC.
};

Q_DECLARE_METATYPE(PacketFile::From)
