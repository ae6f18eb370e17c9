#include "flashing_tool.h"
#include "mocked_machine.h"
#include "patience.h"
#include "port_holder.h"
#include "pseudo_terminal.h"
#include "simulated_device.h"
#include "unprivileged.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QComboBox>
#include <QLabel>
#include <QLockFile>
#include <QPushButton>
#include <QtTest>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

using Kind = Simulator::MockedMachine::Kind;
using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

namespace {

const QLatin1String lockPath("/run/lock/LCK..ttyUSB0");
constexpr char lockedMessage[] = "Permission error while locking the device";
constexpr char greeting[] = "\nidle\n\nparms\n";

SimulatedDevice::Settings silentDevice()
{
    SimulatedDevice::Settings settings;
    settings.firmware = SimulatedDevice::Firmware::Silent;
    return settings;
}

/** Returns what the window has logged since the last connect. */
QList<QByteArray> logAfterConnect(const WindowUnderTest &test)
{
    const QList<QByteArray> messages = test.log.messages();
    return messages.mid(messages.lastIndexOf("Test B") + 1);
}

/** Starts and stops the capture until a command no longer fits into @p line, which nobody reads. */
void fill(const Simulator::PseudoTerminal &line, const WindowUnderTest &test)
{
    pollfd port {::open(line.portPath().toLocal8Bit().constData(), O_RDWR | O_NOCTTY), POLLOUT, 0};
    while (::poll(&port, 1, 0) > 0 && (port.revents & POLLOUT) != 0) {
        for (int i = 0; i < 100; ++i) {
            test.find<QPushButton>("OnBtn")->click();
            test.find<QPushButton>("OffBtn")->click();
        }
        QCoreApplication::processEvents();
    }
    ::close(port.fd);
}

} // namespace

/** The device and its port fail in ways that a user meets. */
class LineFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void aPulledDeviceLeadsToTheStartPage_data();
    void aPulledDeviceLeadsToTheStartPage();
    void theProbeOfAPulledDeviceStillEnds_data();
    void theProbeOfAPulledDeviceStillEnds();
    void aDevicePulledDuringTheInstallationIsAnError();
    void aPortThatAnotherProcessHoldsIsRefused();
    void aLockedPortIsRefused();
    void aLockFileCountsWhileItsOwnerMayRun_data();
    void aLockFileCountsWhileItsOwnerMayRun();
    void aPortWithoutPermissionIsRefused();
    void aLineThatBreaksUnderACommandIsOneDisconnect_data();
    void aLineThatBreaksUnderACommandIsOneDisconnect();
    void aLineThatBreaksInTheMiddleOfAWriteIsOneDisconnect();

private:
    void plugIn(const SimulatedDevice &device, const QString &node = "ttyUSB0");
    void pull(SimulatedDevice *device);

    /** Presses Connect, of which the window only logs @p reason, and stays as it is. */
    static void verifyRefusal(const WindowUnderTest &test, const QByteArray &reason);
    static void verifyConnects(const WindowUnderTest &test);

    std::unique_ptr<MockedMachine> m_machine;
};

void LineFaultsTest::init()
{
    m_machine = std::make_unique<MockedMachine>();
}

void LineFaultsTest::cleanup()
{
    m_machine.reset();
}

void LineFaultsTest::plugIn(const SimulatedDevice &device, const QString &node)
{
    m_machine->plugIn(Kind::Mirzel, node, device.portPath());
}

void LineFaultsTest::pull(SimulatedDevice *device)
{
    m_machine->unplug("ttyUSB0");
    device->hangUp();
}

void LineFaultsTest::verifyRefusal(const WindowUnderTest &test, const QByteArray &reason)
{
    test.click("devConnectButton");

    const QList<QByteArray> expected = {"Critical Error: " + reason, "Connection error"};
    QCOMPARE(test.log.messages(), expected);
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), 1);
}

void LineFaultsTest::verifyConnects(const WindowUnderTest &test)
{
    test.connectToDevice();
    QCOMPARE(test.page(), QByteArray("pageConnected"));
}

void LineFaultsTest::aPulledDeviceLeadsToTheStartPage_data()
{
    QTest::addColumn<bool>("sniffs");
    QTest::newRow("idle") << false;
    QTest::newRow("sniffing") << true;
}

void LineFaultsTest::aPulledDeviceLeadsToTheStartPage()
{
    QFETCH(bool, sniffs);
    SimulatedDevice device({});
    plugIn(device);
    const ZepReceiver receiver;
    const WindowUnderTest test;
    const auto *count = test.find<QLabel>("label_packetCount");
    test.connectToDevice();
    if (sniffs) {
        test.startCapture(device);
        QTRY_VERIFY_WITH_TIMEOUT(count->text().toInt() >= 3, patienceMs());
    }

    pull(&device);

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNotConnected"), patienceMs());
    const QList<QByteArray> logged = logAfterConnect(test);
    QCOMPARE(logged.size(), 2);
    QVERIFY2(logged.first().startsWith("Critical Error: "), logged.first());
    QCOMPARE(logged.last(), QByteArray("Disconnected"));
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), 0);
    QVERIFY(test.find<QPushButton>("OnBtn")->isEnabled());
    QVERIFY(!test.find<QPushButton>("OffBtn")->isEnabled());
    QVERIFY(test.find<QComboBox>("channelSelect")->isEnabled());
    // What was counted has been sent; the last record may be lost on its way from the device.
    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), count->text().toInt(), patienceMs());
    QVERIFY(device.framesSent() - receiver.count() <= 1);
}

void LineFaultsTest::theProbeOfAPulledDeviceStillEnds_data()
{
    QTest::addColumn<int>("others");
    QTest::addColumn<QByteArray>("page");
    QTest::newRow("no device is left") << 0 << QByteArray("pageNoFirmwareTooManyDev");
    QTest::newRow("another one is left") << 1 << QByteArray("pageNoFirmware");
    QTest::newRow("two others are left") << 2 << QByteArray("pageNoFirmwareTooManyDev");
}

void LineFaultsTest::theProbeOfAPulledDeviceStillEnds()
{
    QFETCH(int, others);
    QFETCH(QByteArray, page);
    SimulatedDevice device(silentDevice());
    const SimulatedDevice second({});
    const SimulatedDevice third({});
    plugIn(device);
    if (others >= 1)
        plugIn(second, "ttyUSB1");
    if (others >= 2)
        plugIn(third, "ttyUSB2");
    WindowUnderTest test;
    test.click("devConnectButton");
    QTRY_COMPARE_WITH_TIMEOUT(device.received(), QByteArray(greeting), patienceMs());

    pull(&device);

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNotConnected"), patienceMs());
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), others);
    test.probe.release();
    QTRY_COMPARE_WITH_TIMEOUT(test.page(), page, patienceMs());
    QCOMPARE(test.log.messages().count("Disconnected"), 1);
    test.click(others == 1 ? "backBtn" : "backBtn_6");
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
}

void LineFaultsTest::aDevicePulledDuringTheInstallationIsAnError()
{
    const FirmwareDirectory firmware;
    FirmwareDirectory::addFile("fw.bin", QDateTime::currentDateTime());
    const FlashingTool tool("while [ -e /dev/ttyUSB0 ]; do sleep 0.01; done; exit 1");
    SimulatedDevice device(silentDevice());
    plugIn(device);
    WindowUnderTest test;
    test.probe.release();
    const auto *status = test.find<QLabel>("label_firmwareStatus");
    test.click("devConnectButton");
    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNoFirmware"), patienceMs());
    test.click("installFwBtn");
    QTRY_COMPARE_WITH_TIMEOUT(tool.runs().size(), 1, patienceMs());
    QCOMPARE(status->text(), QString("Installing firmware fw.bin (this should take < 1 min)"));

    pull(&device);

    // The page does not look at the device: it shows what becomes of the tool.
    QTRY_COMPARE_WITH_TIMEOUT(status->text(), QString("Firmware install error."), patienceMs());
    QCOMPARE(test.page(), QByteArray("pageNoFirmware"));
    QVERIFY(test.find<QPushButton>("installFwBtn")->isEnabled());
    test.click("backBtn");
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), 0);
}

void LineFaultsTest::aPortThatAnotherProcessHoldsIsRefused()
{
    const SimulatedDevice device({});
    plugIn(device);
    const WindowUnderTest test;
    {
        const PortHolder holder(device.portPath());
        const Unprivileged unprivileged;
        verifyRefusal(test, "Device or resource busy");
    }

    verifyConnects(test);
}

void LineFaultsTest::aLockedPortIsRefused()
{
    const SimulatedDevice device({});
    plugIn(device);
    const WindowUnderTest test;
    QLockFile lock(lockPath);
    QVERIFY(lock.tryLock());

    verifyRefusal(test, lockedMessage);

    lock.unlock();
    verifyConnects(test);
}

void LineFaultsTest::aLockFileCountsWhileItsOwnerMayRun_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("ageSeconds");
    QTest::addColumn<bool>("counts");
    const QByteArray thisProcess = QByteArray::number(QCoreApplication::applicationPid());
    // No process has a number as large as this.
    QTest::newRow("of a program that is gone") << QByteArray("2147483647\nterm\n") << 0 << false;
    QTest::newRow("of another program with that number") << thisProcess + "\nterm\n" << 0 << false;
    QTest::newRow("in another form") << thisProcess.rightJustified(10) + " term me\n" << 0 << true;
    QTest::newRow("in another form, older than half a minute") << thisProcess.rightJustified(10)
            + " term me\n" << 35 << false;
}

void LineFaultsTest::aLockFileCountsWhileItsOwnerMayRun()
{
    QFETCH(QByteArray, content);
    QFETCH(int, ageSeconds);
    QFETCH(bool, counts);
    const SimulatedDevice device({});
    plugIn(device);
    const WindowUnderTest test;
    QFile lock(lockPath);
    QVERIFY(lock.open(QIODevice::WriteOnly));
    lock.write(content);
    lock.flush();
    lock.setFileTime(QDateTime::currentDateTime().addSecs(-ageSeconds),
                     QFile::FileModificationTime);
    lock.close();

    if (counts)
        verifyRefusal(test, lockedMessage);
    else
        verifyConnects(test);
    lock.remove();
}

void LineFaultsTest::aPortWithoutPermissionIsRefused()
{
    const SimulatedDevice device({});
    plugIn(device);
    const WindowUnderTest test;
    QFile port(device.portPath());
    const QFile::Permissions usual = port.permissions();
    QVERIFY(port.setPermissions({}));
    {
        const Unprivileged unprivileged;
        verifyRefusal(test, "Permission denied");
    }

    QVERIFY(port.setPermissions(usual));
    verifyConnects(test);
}

void LineFaultsTest::aLineThatBreaksUnderACommandIsOneDisconnect_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::newRow("start") << QByteArray("OnBtn");
    QTest::newRow("stop") << QByteArray("OffBtn");
    QTest::newRow("channel change") << QByteArray();
    QTest::newRow("disconnect") << QByteArray("devDisconnectButton");
}

void LineFaultsTest::aLineThatBreaksUnderACommandIsOneDisconnect()
{
    QFETCH(QByteArray, button);
    SimulatedDevice device({});
    plugIn(device);
    const WindowUnderTest test;
    test.connectToDevice();
    if (button == "OffBtn")
        test.startCapture(device);

    // The command waits for the event loop, which finds the line broken.
    pull(&device);
    if (button.isEmpty())
        test.find<QComboBox>("channelSelect")->setCurrentText("15");
    else
        test.click(button);

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNotConnected"), patienceMs());
    QCoreApplication::processEvents();
    QCOMPARE(test.log.messages().count("Disconnected"), 1);
    QVERIFY(test.find<QPushButton>("OnBtn")->isEnabled());
    QVERIFY(!test.find<QPushButton>("OffBtn")->isEnabled());
    QVERIFY(test.find<QComboBox>("channelSelect")->isEnabled());
}

void LineFaultsTest::aLineThatBreaksInTheMiddleOfAWriteIsOneDisconnect()
{
    // Nobody reads at the other end: what is written piles up until no more goes.
    Simulator::PseudoTerminal line;
    m_machine->plugIn(Kind::Mirzel, "ttyUSB0", line.portPath());
    const WindowUnderTest test;
    test.click("devConnectButton");
    fill(line, test);

    m_machine->unplug("ttyUSB0");
    line.hangUp();

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNotConnected"), patienceMs());
    QCoreApplication::processEvents();
    QCOMPARE(test.log.messages().count("Disconnected"), 1);
}

QTEST_MAIN(LineFaultsTest)

#include "tst_line_faults.moc"
