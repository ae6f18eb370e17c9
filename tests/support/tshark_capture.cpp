#include "tshark_capture.h"

#include "patience.h"
#include "tshark.h"
#include "zep_receiver.h"

#include <QTest>

#include <utility>

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

QStringList arguments(const QString &networkInterface)
{
    return {
        "-l",
        "-n",
        "-i",
        networkInterface,
        "-f",
        QString("udp dst port %1").arg(ZepReceiver::zepPort),
        "-T",
        "fields",
        "-e",
        "udp.payload",
        "-e",
        "frame.protocols",
        "-e",
        "zep.channel_id",
        "-e",
        "zep.seqno",
        "-e",
        "_ws.malformed",
        "-e",
        "wpan.fcs.bad",
        "-e",
        "fennix.missing",
        "-e",
        "ip.src",
        // Of the outermost layer only: a radio frame may hold a datagram in turn.
        "-E",
        "occurrence=f",
    };
}

} // namespace

TsharkCapture::TsharkCapture(QString networkInterface, const QString &reachable)
    : m_interface(std::move(networkInterface))
    , m_reachable(reachable)
{ }

TsharkCapture::~TsharkCapture()
{
    m_tshark.terminate();
    m_tshark.waitForFinished();
}

bool TsharkCapture::start(QString *error)
{
    Tshark::start(&m_tshark, arguments(m_interface));
    QUdpSocket socket;
    const auto isReady = [&] {
        socket.writeDatagram(probe, m_reachable, ZepReceiver::zepPort);
        readLines();
        return m_ready || m_tshark.state() == QProcess::NotRunning;
    };
    if (QTest::qWaitFor(isReady, startTimeoutMs) && m_ready)
        return true;

    *error = m_tshark.error() == QProcess::FailedToStart
        ? m_tshark.errorString()
        : QString::fromLocal8Bit(m_tshark.readAllStandardError()).simplified();
    return false;
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
