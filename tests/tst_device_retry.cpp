#include "connection.h"
#include "mocked_machine.h"
#include "patience.h"
#include "simulated_device.h"
#include "window_under_test.h"

#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

#include <vector>

using Kind = Simulator::MockedMachine::Kind;
using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

namespace {

constexpr char greeting[] = "\nidle\n\nparms\n";

/** Emits the signal that the connection keeps in reserve. */
void askForAnotherDevice(const WindowUnderTest &test)
{
    emit test.link.connection()->connectOtherDevice();
}

} // namespace

class DeviceRetryTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void retriesFromTheLastPortToTheFirst();
    void aRetryLeavesTheStopButtonAsItIs();
    void aRetryWithoutPortsShowsAnError();
    void anErrorOfTheRetryStaysShown();

private:
    MockedMachine m_machine;
};

void DeviceRetryTest::cleanup()
{
    m_machine.unplug("ttyUSB0");
    m_machine.unplug("ttyUSB1");
}

void DeviceRetryTest::retriesFromTheLastPortToTheFirst()
{
    const SimulatedDevice first({});
    const SimulatedDevice second({});
    m_machine.plugIn(Kind::Mirzel, "ttyUSB0", first.portPath());
    m_machine.plugIn(Kind::Mirzel, "ttyUSB1", second.portPath());
    WindowUnderTest test;

    askForAnotherDevice(test);
    QCOMPARE(test.page(), QByteArray("pageConnected"));
    QTRY_COMPARE_WITH_TIMEOUT(second.received(), QByteArray(greeting), patienceMs());
    QCOMPARE(MainWindow::availableComPorts, std::vector<QString>({"/dev/ttyUSB0"}));
    QTRY_COMPARE_WITH_TIMEOUT(test.find<QLabel>("label_com_port")->text(), QString("/dev/ttyUSB1"),
                              patienceMs());

    // The list of the scan that a disconnect makes is complete again.
    test.click("devDisconnectButton");
    QCOMPARE(MainWindow::availableComPorts.size(), size_t(2));
    MainWindow::availableComPorts.pop_back();
    askForAnotherDevice(test);
    QTRY_COMPARE_WITH_TIMEOUT(first.received(), QByteArray(greeting), patienceMs());
    QVERIFY(MainWindow::availableComPorts.empty());
}

void DeviceRetryTest::aRetryLeavesTheStopButtonAsItIs()
{
    const SimulatedDevice device({});
    m_machine.plugIn(Kind::Mirzel, "ttyUSB0", device.portPath());
    WindowUnderTest test;
    test.find<QPushButton>("OffBtn")->setEnabled(true);

    askForAnotherDevice(test);

    QCOMPARE(test.page(), QByteArray("pageConnected"));
    QVERIFY(test.find<QPushButton>("OffBtn")->isEnabled());
}

void DeviceRetryTest::aRetryWithoutPortsShowsAnError()
{
    const SimulatedDevice device({});
    m_machine.plugIn(Kind::Mirzel, "ttyUSB0", device.portPath());
    WindowUnderTest test;
    test.click("devConnectButton");
    MainWindow::availableComPorts.clear();

    askForAnotherDevice(test);

    QCOMPARE(test.find<QLabel>("labelConnectionError")->text(),
             QString("Error: Connection not possible"));
    QCOMPARE(test.page(), QByteArray("pageConnected"));
    // The retry has stopped the timer that shows the port.
    const QList<QTimer *> timers = test.window.findChildren<QTimer *>();
    for (const QTimer *timer : timers)
        QVERIFY(!timer->isActive());
    QCOMPARE(test.find<QLabel>("label_com_port")->text(), QString("Connecting..."));
}

void DeviceRetryTest::anErrorOfTheRetryStaysShown()
{
    WindowUnderTest test;
    askForAnotherDevice(test);

    test.click("refreshComButton");
    test.click("devConnectButton");

    QCOMPARE(test.find<QLabel>("labelConnectionError")->text(),
             QString("Error: Connection not possible"));
}

QTEST_MAIN(DeviceRetryTest)

#include "tst_device_retry.moc"
