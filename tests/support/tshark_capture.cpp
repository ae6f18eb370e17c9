#include "tshark_capture.h"

#include "patience.h"
#include "tshark.h"
#include "zep_receiver.h"

#include <QHostAddress>
#include <QTest>

namespace {

/** Sent until tshark shows it, since a capture takes a moment to begin. */
constexpr char probe[] = "is anybody there?";

constexpr int startTimeoutMs = 60000;

/** The longest that a slow tshark makes wait for the next datagram. */
constexpr int pauseMs = 10000;

enum Field {
    Payload,
    Protocols,
    Channel,
    SequenceNumber,
    Malformed,
    BadCheckSequence,
    Missing,
    Source,
    FieldCount,
};

constexpr const char *fieldNames[FieldCount] = {
    "udp.payload",   "frame.protocols", "zep.channel_id", "zep.seqno",
    "_ws.malformed", "wpan.fcs.bad",    "fennix.missing", "ip.src"};

QStringList arguments(const QString &networkInterface)
{
    const QString filter = QString("udp dst port %1").arg(ZepReceiver::zepPort);
    // Of the outermost layer only: a radio frame may hold a datagram in turn.
    QStringList arguments = {"-l", "-n",     "-i", networkInterface, "-f", filter,
                             "-T", "fields", "-E", "occurrence=f"};
    for (const char *name : fieldNames)
        arguments += {"-e", name};
    return arguments;
}

} // namespace

TsharkCapture::TsharkCapture(const QString &networkInterface, const QString &reachable)
{
    Tshark::start(&m_tshark, arguments(networkInterface));
    QUdpSocket socket;
    const auto isReady = [&] {
        socket.writeDatagram(probe, QHostAddress(reachable), ZepReceiver::zepPort);
        readLines();
        return m_ready || m_tshark.state() == QProcess::NotRunning;
    };
    if (!QTest::qWaitFor(isReady, startTimeoutMs) || !m_ready)
        qFatal("tshark: %s %s", qPrintable(m_tshark.errorString()),
               m_tshark.readAllStandardError().constData());
}

TsharkCapture::~TsharkCapture()
{
    m_tshark.terminate();
    m_tshark.waitForFinished();
}

int TsharkCapture::await(int count)
{
    int captured = 0;
    const auto hasMore = [&] { return packets().size() > captured; };
    do {
        captured = packets().size();
    } while (captured < count && QTest::qWaitFor(hasMore, patienceMs(pauseMs)));
    return captured;
}

const QVector<TsharkCapture::Packet> &TsharkCapture::packets()
{
    readLines();
    return m_packets;
}

void TsharkCapture::readLines()
{
    while (m_tshark.canReadLine()) {
        const QList<QByteArray> fields = m_tshark.readLine().chopped(1).split('\t');
        if (fields.size() < FieldCount)
            continue;
        const QByteArray payload = QByteArray::fromHex(fields.at(Payload));
        if (payload == probe) {
            m_ready = true;
            continue;
        }
        m_packets.append({payload, QString::fromLatin1(fields.at(Protocols)),
                          fields.at(Channel).toInt(), fields.at(SequenceNumber).toUInt(),
                          !fields.at(Malformed).isEmpty(), !fields.at(BadCheckSequence).isEmpty(),
                          fields.at(Missing).toInt(), QString::fromLatin1(fields.at(Source))});
    }
}
