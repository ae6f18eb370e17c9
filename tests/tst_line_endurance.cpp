#include "footprint.h"
#include "no_traces.h"
#include "patience.h"
#include "plugged_device.h"
#include "soak.h"
#include "window_under_test.h"

#include <QComboBox>
#include <QSignalSpy>
#include <QtTest>

#include <deque>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

/** Many devices, and the same again and again. */
class LineEnduranceTest : public QObject
{
    Q_OBJECT

private slots:
    void fiftyDevicesAreListed();
    void pluggingInAndOutLeavesNothingBehind();
    void startsStopsAndChannelChangesLeaveNothingBehind();

private:
    /** Plugs a new device in, captures a frame from it and pulls it while it sniffs. */
    void plugInAndOut(const WindowUnderTest &test, int channel);

    /** Starts, stops and changes the channel that many times, of which nothing is lost. */
    static void startStopAndChange(const WindowUnderTest &test, SimulatedDevice *device,
                                   int rounds);

    /** Verifies that nothing is held in addition but @p connects kB, and what varies. */
    static void verifyGrowth(const Footprint &before, const QObject &window, int connects);

    MockedMachine m_machine;
};

void LineEnduranceTest::verifyGrowth(const Footprint &before, const QObject &window, int connects)
{
    constexpr int varyingKilobytes = 64;
    const Footprint after {&window};
    // The mocked machine opens and closes its own end of a port a moment later.
    const int mostDescriptors = before.descriptors + 1;
    QTRY_VERIFY_WITH_TIMEOUT(Footprint::openDescriptors() <= mostDescriptors, patienceMs());
    QCOMPARE(after.objects, before.objects);
    const int grown = after.allocatedKilobytes - before.allocatedKilobytes;
    QVERIFY2(grown <= connects + varyingKilobytes, QByteArray::number(grown));
}

void LineEnduranceTest::fiftyDevicesAreListed()
{
    constexpr int devices = 50;
    std::deque<PluggedDevice> plugged;
    for (int number = 0; number < devices; ++number)
        plugged.emplace_back(&m_machine, SimulatedDevice::Settings(),
                             QString("ttyUSB%1").arg(number));
    WindowUnderTest test;
    auto *box = test.find<QComboBox>("usbComboBox");
    QCOMPARE(box->count(), devices);
    QCOMPARE(MainWindow::numberOfDevices, devices);
    // The list does not tell them apart.
    for (int entry = 0; entry < devices; ++entry)
        QCOMPARE(box->itemText(entry), QString("Mirzel"));

    // Any of them works, and the others are left alone.
    const QString path = MainWindow::availableComPorts.back();
    const int number = path.midRef(int(qstrlen("/dev/ttyUSB"))).toInt();
    box->setCurrentIndex(devices - 1);
    test.connectToDevice();
    test.startCapture(plugged[size_t(number)]);
    QTRY_VERIFY_WITH_TIMEOUT(test.packetCount() >= 3, patienceMs());
    for (int other = 0; other < devices; ++other)
        QCOMPARE(plugged[size_t(other)].received().isEmpty(), other != number);
}

void LineEnduranceTest::plugInAndOut(const WindowUnderTest &test, int channel)
{
    SimulatedDevice::Settings settings;
    settings.channel = channel;
    PluggedDevice device(&m_machine, settings);
    test.click("refreshComButton");
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), 1);
    test.connectToDevice();
    const NoTraces noTraces;
    test.startCapture(device);
    QTRY_VERIFY_WITH_TIMEOUT(test.packetCount() >= 1, patienceMs());

    device.pull();

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNotConnected"), patienceMs());
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), 0);
}

void LineEnduranceTest::startStopAndChange(const WindowUnderTest &test, SimulatedDevice *device,
                                           int rounds)
{
    QSignalSpy commands(device, &SimulatedDevice::commandReceived);
    const auto executes = [&commands](const QByteArray &last) {
        while (commands.isEmpty() || commands.constLast().constFirst() != last) {
            if (!commands.wait(patienceMs()))
                return false;
        }
        commands.clear();
        return true;
    };
    auto *channelSelect = test.find<QComboBox>("channelSelect");
    for (int round = 0; round < rounds; ++round) {
        test.click("OnBtn");
        QVERIFY(executes("sniff"));
        test.click("OffBtn");
        QVERIFY(executes("idle"));
        channelSelect->setCurrentIndex((channelSelect->currentIndex() + 1)
                                       % channelSelect->count());
        QVERIFY(executes("idle"));
        QCOMPARE(QString::number(device->channel()), channelSelect->currentText());
        device->clearReceived();
    }
}

void LineEnduranceTest::pluggingInAndOutLeavesNothingBehind()
{
    const int rounds = Soak::portion(100, 5);
    const WindowUnderTest test;
    plugInAndOut(test, 26);
    const Footprint before {&test.window};

    for (int round = 0; round < rounds && !QTest::currentTestFailed(); ++round)
        plugInAndOut(test, 11 + round % 16);

    // Each connect is wired to the window's timer once more, and logged.
    verifyGrowth(before, test.window, rounds);
    QCOMPARE(test.log.messages().count("Disconnected"), rounds + 1);
}

void LineEnduranceTest::startsStopsAndChannelChangesLeaveNothingBehind()
{
    const int rounds = Soak::portion(10000);
    PluggedDevice device(&m_machine);
    const WindowUnderTest test;
    test.connectToDevice();
    const NoTraces noTraces;
    startStopAndChange(test, &device, 10);
    const Footprint before {&test.window};

    startStopAndChange(test, &device, rounds);

    verifyGrowth(before, test.window, 0);
    QTRY_COMPARE_WITH_TIMEOUT(test.packetCount(), device.framesSent(), patienceMs());
}

QTEST_MAIN(LineEnduranceTest)

#include "tst_line_endurance.moc"
