#include "device_link.h"
#include "message_capture.h"
#include "patience.h"
#include "set_clock.h"
#include "zep_receiver.h"

#include <QtTest>

#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr char deviceHeader[] = "\1\2\3\4\5\6\7\10";

/** While it lives, the process cannot open a file or socket more. */
class NoMoreDescriptors
{
public:
    NoMoreDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &m_saved);
        const int next = dup(STDIN_FILENO);
        close(next);
        const rlimit limit = {static_cast<rlim_t>(next), m_saved.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &m_saved); }
    Q_DISABLE_COPY(NoMoreDescriptors)

private:
    rlimit m_saved;
};

} // namespace

class ZepForwardingTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void theFirstDatagramHasSequenceNumberOne();
    void laysOutADataDatagram();
    void laysOutAnAcknowledgement();
    void choosesTheTypeByThePayload_data();
    void choosesTheTypeByThePayload();
    void countsSecondsFrom1900_data();
    void countsSecondsFrom1900();
    void fractionIsOfMicrosecondsPlusOne_data();
    void fractionIsOfMicrosecondsPlusOne();
    void sequenceNumbersRunOnAcrossReconnects();
    void carriesTheChannel();
    void readsTheDestinationAtEachSend();
    void aRefusedDatagramIsOnlyLogged();

private:
    static QByteArray forward(const QByteArray &record);
};

void ZepForwardingTest::init()
{
    SetClock::precise = {1000000000, 500000};
}

/** Returns the datagram that a connection makes of @p record. */
QByteArray ZepForwardingTest::forward(const QByteArray &record)
{
    const ZepReceiver receiver;
    DeviceLink link;
    if (!link.openConfirmed())
        return {};
    link.sendRecord(record);
    const bool arrived = QTest::qWaitFor([&] { return receiver.count() == 1; }, patienceMs());
    return arrived ? receiver.datagrams().first() : QByteArray();
}

void ZepForwardingTest::theFirstDatagramHasSequenceNumberOne()
{
    // The first test of the process, since the count is never reset.
    QCOMPARE(ZepReceiver::sequenceNumber(forward(QByteArray(20, 'x'))), 1U);
    QCOMPARE(ZepReceiver::sequenceNumber(forward(QByteArray())), 2U);
    QCOMPARE(ZepReceiver::sequenceNumber(forward(QByteArray(20, 'x'))), 3U);
}

void ZepForwardingTest::laysOutADataDatagram()
{
    const QByteArray frame = QByteArray::fromHex("418801ffff0000abcd");

    const QByteArray datagram = forward(deviceHeader + frame);

    QCOMPARE(datagram.size(), 32 + 9);
    QCOMPARE(datagram.left(9).toHex(' '), QByteArray("45 58 02 01 0b 00 00 00 00"));
    QCOMPARE(datagram.mid(9, 4).toHex(), QByteArray("bf454880"));
    QCOMPARE(datagram.mid(13, 4).toHex(), QByteArray("800010c6"));
    QVERIFY(ZepReceiver::sequenceNumber(datagram) > 0);
    QCOMPARE(datagram.mid(21, 10), QByteArray(10, '\0'));
    QCOMPARE(static_cast<int>(datagram.at(31)), 9);
    QCOMPARE(datagram.mid(32), frame);
}

void ZepForwardingTest::laysOutAnAcknowledgement()
{
    const quint32 before = ZepReceiver::sequenceNumber(forward(QByteArray()));

    const QByteArray datagram = forward(deviceHeader + QByteArray::fromHex("0200abcdef"));

    QCOMPARE(datagram.size(), 8);
    QCOMPARE(datagram.left(4).toHex(' '), QByteArray("45 58 02 02"));
    QCOMPARE(ZepReceiver::sequenceNumber(datagram), before + 1);
}

void ZepForwardingTest::choosesTheTypeByThePayload_data()
{
    QTest::addColumn<int>("recordSize");
    QTest::addColumn<int>("datagramSize");
    QTest::newRow("empty record") << 0 << 8;
    QTest::newRow("part of a device header") << 7 << 8;
    QTest::newRow("device header only") << 8 << 8;
    QTest::newRow("longest acknowledgement") << 8 + 5 << 8;
    QTest::newRow("shortest data") << 8 + 6 << 38;
    QTest::newRow("largest radio frame") << 8 + 127 << 32 + 127;
    QTest::newRow("largest record") << 255 << 32 + 247;
}

void ZepForwardingTest::choosesTheTypeByThePayload()
{
    QFETCH(int, recordSize);
    QFETCH(int, datagramSize);

    const QByteArray datagram = forward(QByteArray(recordSize, 'x'));

    QCOMPARE(datagram.size(), datagramSize);
    if (ZepReceiver::isData(datagram))
        QCOMPARE(static_cast<int>(static_cast<quint8>(datagram.at(31))), recordSize - 8);
}

void ZepForwardingTest::countsSecondsFrom1900_data()
{
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<QByteArray>("field");
    QTest::newRow("1970") << Q_INT64_C(0) << QByteArray("83aa7e80");
    QTest::newRow("2026") << Q_INT64_C(1795219200) << QByteArray("eeab5d80");
    QTest::newRow("last of the era") << Q_INT64_C(2085978495) << QByteArray("ffffffff");
    QTest::newRow("first of the next era") << Q_INT64_C(2085978496) << QByteArray("00000000");
}

void ZepForwardingTest::countsSecondsFrom1900()
{
    QFETCH(qint64, seconds);
    QFETCH(QByteArray, field);
    SetClock::precise.tv_sec = static_cast<time_t>(seconds);

    QCOMPARE(forward(QByteArray(20, 'x')).mid(9, 4).toHex(), field);
}

void ZepForwardingTest::fractionIsOfMicrosecondsPlusOne_data()
{
    QTest::addColumn<int>("microseconds");
    QTest::addColumn<QByteArray>("field");
    QTest::newRow("0") << 0 << QByteArray("000010c6"); // 4294
    QTest::newRow("1") << 1 << QByteArray("0000218d"); // 8589
    QTest::newRow("499999") << 499999 << QByteArray("80000000");
    QTest::newRow("999998") << 999998 << QByteArray("ffffef39");
    QTest::newRow("999999") << 999999 << QByteArray("ffffffff");
}

void ZepForwardingTest::fractionIsOfMicrosecondsPlusOne()
{
    QFETCH(int, microseconds);
    QFETCH(QByteArray, field);
    SetClock::precise.tv_usec = microseconds;

    QCOMPARE(forward(QByteArray(20, 'x')).mid(13, 4).toHex(), field);
}

void ZepForwardingTest::sequenceNumbersRunOnAcrossReconnects()
{
    const ZepReceiver receiver;
    DeviceLink link;
    for (int pass = 1; pass <= 3; ++pass) {
        QVERIFY(link.openConfirmed());
        link.sendRecord(QByteArray(20, 'x'));
        QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), pass, patienceMs());
        link.connection.closeSerialPort();
    }

    const quint32 first = ZepReceiver::sequenceNumber(receiver.datagrams().at(0));
    QCOMPARE(ZepReceiver::sequenceNumber(receiver.datagrams().at(1)), first + 1);
    QCOMPARE(ZepReceiver::sequenceNumber(receiver.datagrams().at(2)), first + 2);
}

void ZepForwardingTest::carriesTheChannel()
{
    const ZepReceiver receiver;
    DeviceLink link;
    QVERIFY(link.openConfirmed());

    link.device.send("HAN: 26\n");
    link.sendRecord(QByteArray(20, 'x'));

    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), 1, patienceMs());
    QCOMPARE(static_cast<int>(receiver.datagrams().first().at(4)), 0x1A);
}

void ZepForwardingTest::readsTheDestinationAtEachSend()
{
    const ZepReceiver here;
    const ZepReceiver there("127.0.0.2");
    DeviceLink link;
    QVERIFY(link.openConfirmed());

    link.sendRecord(QByteArray(20, 'x'));
    QTRY_COMPARE_WITH_TIMEOUT(here.count(), 1, patienceMs());
    Connection::host = QHostAddress("127.0.0.2");
    link.sendRecord(QByteArray(20, 'x'));

    QTRY_COMPARE_WITH_TIMEOUT(there.count(), 1, patienceMs());
    QCOMPARE(here.count(), 1);
}

void ZepForwardingTest::aRefusedDatagramIsOnlyLogged()
{
    const ZepReceiver receiver;
    DeviceLink link;
    QVERIFY(link.openConfirmed());
    {
        // The socket is made for the first datagram, and cannot be made.
        const NoMoreDescriptors limit;
        link.sendRecord(QByteArray(20, 'x'));
        QTRY_COMPARE_WITH_TIMEOUT(link.log.messages().size(), 4, patienceMs());
    }

    const QByteArray message = link.log.messages().constLast();
    const QByteArray prefix = "ZEP Error: ";
    QVERIFY2(message.startsWith(prefix) && message.size() > prefix.size(), message);
    QCOMPARE(link.packetCounts.count(), 0);

    // The lost record is not sent again, and not counted.
    link.sendRecord(QByteArray(20, 'y'));
    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), 1, patienceMs());
    QCOMPARE(receiver.frames(), QVector<QByteArray>({QByteArray(12, 'y')}));
    QCOMPARE(link.packetCounts.first().first().toUInt(), 1U);
}

QTEST_MAIN(ZepForwardingTest)

#include "tst_zep_forwarding.moc"
