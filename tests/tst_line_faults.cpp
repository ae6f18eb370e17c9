#include "flashing_tool.h"
#include "patience.h"
#include "plugged_device.h"
#include "pseudo_terminal.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QComboBox>
#include <QLabel>
#include <QLockFile>
#include <QPushButton>
#include <QtTest>

#include <array>
#include <deque>

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

using Simulator::MockedMachine;
using Simulator::PseudoTerminal;

namespace {

const QLatin1String lockPath("/run/lock/LCK..ttyUSB0");
constexpr char lockedMessage[] = "Permission error while locking the device";

/**
 * Holds a port open for itself alone, as long as it lives. The kernel refuses everyone else the
 * port, also in the same process.
 */
class ExclusivePort
{
public:
    explicit ExclusivePort(const QString &path)
        : m_port(::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (!request(TIOCEXCL))
            qFatal("cannot hold %s", qPrintable(path));
    }
    ~ExclusivePort()
    {
        // A pseudo-terminal stays exclusive when it is only closed.
        request(TIOCNXCL);
        ::close(m_port);
    }
    Q_DISABLE_COPY(ExclusivePort)

private:
    /** Past the mocked machine, which knows no such request and refuses it. */
    bool request(unsigned long number) const { return ::syscall(SYS_ioctl, m_port, number) == 0; }

    const int m_port;
};

/**
 * For as long as it lives, files and terminals are as closed to this thread as to
 * an ordinary user: it is without the capabilities that make root open everything.
 */
class Unprivileged
{
public:
    Unprivileged()
    {
        call(SYS_capget, &m_saved);
        Capabilities none = m_saved;
        for (__user_cap_data_struct &half : none)
            half.effective = 0;
        call(SYS_capset, &none);
    }
    ~Unprivileged() { call(SYS_capset, &m_saved); }
    Q_DISABLE_COPY(Unprivileged)

private:
    using Capabilities = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

    static void call(long number, Capabilities *capabilities)
    {
        __user_cap_header_struct thisThread {_LINUX_CAPABILITY_VERSION_3, 0};
        if (::syscall(number, &thisThread, capabilities->data()) != 0)
            qFatal("cannot change the capabilities");
    }

    Capabilities m_saved {};
};

/** Starts and stops the capture until a command no longer fits into @p line, which nobody reads. */
void fill(const PseudoTerminal &line, const WindowUnderTest &test)
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

/** Presses Connect, of which the window only logs @p reason, and stays as it is. */
void verifyRefusal(const WindowUnderTest &test, const QByteArray &reason)
{
    test.click("devConnectButton");

    const QList<QByteArray> expected = {"Critical Error: " + reason, "Connection error"};
    QCOMPARE(test.log.messages(), expected);
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), 1);
}

void verifyConnects(const WindowUnderTest &test)
{
    test.connectToDevice();
    QCOMPARE(test.page(), QByteArray("pageConnected"));
}

} // namespace

/** The device and its port fail in ways that a user meets. */
class LineFaultsTest : public QObject
{
    Q_OBJECT

private slots:
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
    void aLineThatBreaksInTheMiddleOfAWriteIsOneDisconnect();

private:
    MockedMachine m_machine;
};

void LineFaultsTest::aPulledDeviceLeadsToTheStartPage_data()
{
    QTest::addColumn<bool>("sniffs");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("errors");
    QTest::newRow("idle") << false << QByteArray() << 1;
    QTest::newRow("sniffing") << true << QByteArray() << 1;
    QTest::newRow("under a start") << false << QByteArray("OnBtn") << 1;
    QTest::newRow("under a stop") << true << QByteArray("OffBtn") << 1;
    QTest::newRow("under a channel change") << false << QByteArray("channelSelect") << 1;
    QTest::newRow("under a disconnect") << false << QByteArray("devDisconnectButton") << 0;
}

void LineFaultsTest::aPulledDeviceLeadsToTheStartPage()
{
    QFETCH(bool, sniffs);
    QFETCH(QByteArray, command);
    QFETCH(int, errors);
    PluggedDevice device(&m_machine);
    const ZepReceiver receiver;
    const WindowUnderTest test;
    test.connectToDevice();
    if (sniffs) {
        test.startCapture(device);
        QTRY_VERIFY_WITH_TIMEOUT(test.packetCount() >= 3, patienceMs());
    }
    const int logged = test.log.messages().size();

    // A command waits for the event loop, which finds the line broken.
    device.pull();
    if (command == "channelSelect")
        test.find<QComboBox>(command)->setCurrentText("15");
    else if (!command.isEmpty())
        test.click(command);

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNotConnected"), patienceMs());
    QCoreApplication::processEvents();
    const QList<QByteArray> messages = test.log.messages().mid(logged);
    QCOMPARE(messages.last(), QByteArray("Disconnected"));
    QCOMPARE(messages.size(), errors + 1);
    QCOMPARE(messages.first().startsWith("Critical Error: "), errors == 1);
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), 0);
    QCOMPARE(test.enabledControls(), QList<QByteArray>({"OnBtn", "channelSelect"}));
    // What was counted has been sent; the last record may be lost on its way from the device.
    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), test.packetCount(), patienceMs());
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
    PluggedDevice device(&m_machine, silentDevice());
    std::deque<PluggedDevice> left;
    for (int i = 1; i <= others; ++i)
        left.emplace_back(&m_machine, silentDevice(), QString("ttyUSB%1").arg(i));
    WindowUnderTest test;
    test.click("devConnectButton");
    QTRY_COMPARE_WITH_TIMEOUT(device.received(), QByteArray("\nidle\n\nparms\n"), patienceMs());

    device.pull();

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
    PluggedDevice device(&m_machine, silentDevice());
    WindowUnderTest test;
    test.probe.release();
    const auto *status = test.find<QLabel>("label_firmwareStatus");
    test.click("devConnectButton");
    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNoFirmware"), patienceMs());
    test.click("installFwBtn");
    QTRY_COMPARE_WITH_TIMEOUT(tool.runs().size(), 1, patienceMs());
    QCOMPARE(status->text(), QString("Installing firmware fw.bin (this should take < 1 min)"));

    device.pull();

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
    const PluggedDevice device(&m_machine);
    const WindowUnderTest test;
    {
        const ExclusivePort held(device.portPath());
        const Unprivileged unprivileged;
        verifyRefusal(test, "Device or resource busy");
    }

    verifyConnects(test);
}

void LineFaultsTest::aLockedPortIsRefused()
{
    const PluggedDevice device(&m_machine);
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
    const QByteArray anotherForm = thisProcess.rightJustified(10) + " term me\n";
    // No process has a number as large as this.
    QTest::newRow("of a program that is gone") << QByteArray("2147483647\nterm\n") << 0 << false;
    QTest::newRow("of another program with that number") << thisProcess + "\nterm\n" << 0 << false;
    QTest::newRow("in another form") << anotherForm << 0 << true;
    QTest::newRow("in another form, older than half a minute") << anotherForm << 35 << false;
}

void LineFaultsTest::aLockFileCountsWhileItsOwnerMayRun()
{
    QFETCH(QByteArray, content);
    QFETCH(int, ageSeconds);
    QFETCH(bool, counts);
    const PluggedDevice device(&m_machine);
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
    const PluggedDevice device(&m_machine);
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

void LineFaultsTest::aLineThatBreaksInTheMiddleOfAWriteIsOneDisconnect()
{
    // Nobody reads at the other end: what is written piles up until no more goes.
    PseudoTerminal line;
    m_machine.plugIn(MockedMachine::Kind::Mirzel, "ttyUSB0", line.portPath());
    const WindowUnderTest test;
    test.click("devConnectButton");
    fill(line, test);

    m_machine.unplug("ttyUSB0");
    line.hangUp();

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNotConnected"), patienceMs());
    QCoreApplication::processEvents();
    QCOMPARE(test.log.messages().count("Disconnected"), 1);
}

QTEST_MAIN(LineFaultsTest)

#include "tst_line_faults.moc"
