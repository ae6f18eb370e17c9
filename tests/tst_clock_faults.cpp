#include "mocked_machine.h"
#include "patience.h"
#include "set_clock.h"
#include "simulated_device.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QLabel>
#include <QLineEdit>
#include <QtEndian>
#include <QtTest>

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
    QTRY_VERIFY_WITH_TIMEOUT(device.received().endsWith("\nsniff\n"), patienceMs());

    // Each frame, and each line of the log, finds the clock set anew.
    const QVector<time_t> times = {noon, noon - hour, noon + hour, 0, noon + 10 * hour, noon};
    QByteArray stamps;
    for (const time_t time : times) {
        SetClock::seconds = time;
        SetClock::precise = {time, 0};
        device.send(SimulatedDevice::frameRecord("a radio frame") + "[vostrel]");
        stamps += QDateTime::fromSecsSinceEpoch(time, Qt::UTC).toString("hh:mm:ss").toLatin1()
            + ":000 [warning] watchdog\n";
        QTRY_VERIFY2_WITH_TIMEOUT(test.log.text().endsWith(stamps), test.log.text(), patienceMs());
    }

    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), times.size(), patienceMs());
    const quint32 first = ZepReceiver::sequenceNumber(receiver.datagrams().first());
    for (int i = 0; i < times.size(); ++i) {
        const QByteArray &datagram = receiver.datagrams().at(i);
        QCOMPARE(ZepReceiver::sequenceNumber(datagram), first + static_cast<quint32>(i));
        QCOMPARE(qFromBigEndian<quint32>(datagram.constData() + 9),
                 static_cast<quint32>(times.at(i)) + secondsTo1970);
    }
    QCOMPARE(test.find<QLabel>("label_packetCount")->text(), QString::number(times.size()));
}

QTEST_MAIN(ClockFaultsTest)

#include "tst_clock_faults.moc"
