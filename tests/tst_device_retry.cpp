#include "connection.h"
#include "patience.h"
#include "plugged_device.h"
#include "window_under_test.h"

#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

#include <vector>

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
    void retriesFromTheLastPortToTheFirst();
    void aRetryLeavesTheStopButtonAsItIs();
    void aRetryWithoutPortsShowsAnError();
    void anErrorOfTheRetryStaysShown();

private:
    Simulator::MockedMachine m_machine;
};

void DeviceRetryTest::retriesFromTheLastPortToTheFirst()
{
    const PluggedDevice first(&m_machine);
    const PluggedDevice second(&m_machine, {}, "ttyUSB1");
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
    const PluggedDevice device(&m_machine);
    WindowUnderTest test;
    test.find<QPushButton>("OffBtn")->setEnabled(true);

    askForAnotherDevice(test);

    QCOMPARE(test.page(), QByteArray("pageConnected"));
    QVERIFY(test.find<QPushButton>("OffBtn")->isEnabled());
}

void DeviceRetryTest::aRetryWithoutPortsShowsAnError()
{
    const PluggedDevice device(&m_machine);
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
