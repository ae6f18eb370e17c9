#include "mocked_machine.h"
#include "simulated_device.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QLabel>
#include <QLineEdit>
#include <QtEndian>
#include <QtTest>

#include <sys/time.h>

// The linker leads the program's readings of the clock here.
extern "C" time_t __wrap_time(time_t *now);
extern "C" int __wrap_gettimeofday(timeval *now, void *zone);

// What they are called on a 32-bit system whose time_t has 64 bits.
extern "C" [[gnu::alias("__wrap_time")]] time_t __wrap___time64(time_t *now);
extern "C" [[gnu::alias("__wrap_gettimeofday")]] int __wrap___gettimeofday64(timeval *now,
                                                                             void *zone);

namespace {
time_t currentTime;
} // namespace

time_t __wrap_time(time_t *now)
{
    if (now)
        *now = currentTime;
    return currentTime;
}

int __wrap_gettimeofday(timeval *now, void *)
{
    *now = {currentTime, 0};
    return 0;
}

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

namespace {

constexpr time_t noon = 1795262400; // 21 November 2026, 12:00:00 UTC
constexpr time_t hour = 3600;
constexpr quint32 secondsTo1970 = 2208988800U;

} // namespace

class ClockFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void theClockMayBeSetDuringACapture();
};

void ClockFaultsTest::initTestCase()
{
    qputenv("TZ", "UTC");
}

void ClockFaultsTest::theClockMayBeSetDuringACapture()
{
    // It sends nothing but what it is told to.
    SimulatedDevice::Settings settings;
    settings.firmware = SimulatedDevice::Firmware::Silent;
    SimulatedDevice device(settings);
    MockedMachine machine;
    machine.plugIn(MockedMachine::Kind::Mirzel, "ttyUSB0", device.portPath());
    const ZepReceiver receiver;
    const WindowUnderTest test;
    test.click("devConnectButton");
    test.find<QLineEdit>("remoteIpInput")->clear();
    test.click("OnBtn");
    QTRY_VERIFY(device.received().endsWith("\nsniff\n"));

    // Each frame, and each line of the log, finds the clock set anew.
    const QVector<time_t> times = {noon, noon - hour, noon + hour, 0, noon + 10 * hour, noon};
    QByteArray stamps;
    for (const time_t time : times) {
        currentTime = time;
        device.send(SimulatedDevice::frameRecord("a radio frame") + "[vostrel]");
        stamps += QDateTime::fromSecsSinceEpoch(time, Qt::UTC).toString("hh:mm:ss").toLatin1()
            + ":000 [warning] watchdog\n";
        QTRY_VERIFY2(test.log.text().endsWith(stamps), test.log.text());
    }

    QTRY_COMPARE(receiver.count(), times.size());
    const quint32 first = ZepReceiver::sequenceNumber(receiver.datagrams().first());
    for (int i = 0; i < times.size(); ++i) {
        const QByteArray &datagram = receiver.datagrams().at(i);
        QCOMPARE(ZepReceiver::sequenceNumber(datagram), first + static_cast<quint32>(i));
        QCOMPARE(qFromBigEndian<quint32>(datagram.constData() + 9),
                 static_cast<quint32>(times.at(i)) + secondsTo1970);
    }
    QCOMPARE(test.find<QLabel>("label_packetCount")->text(), QString::number(times.size()));
    test.click("devDisconnectButton");
}

QTEST_MAIN(ClockFaultsTest)

#include "tst_clock_faults.moc"
