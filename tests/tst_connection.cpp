#include "connection.h"
#include "device_link.h"
#include "firmware_page_table.h"
#include "mainwindow.h"
#include "message_capture.h"
#include "patience.h"
#include "zep_receiver.h"

#include <QMetaEnum>
#include <QMetaMethod>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>
#include <QtTest>

#include <algorithm>

namespace {

constexpr int noFirmwareTimeoutMs = 300;

/** Returns how many probes of @p connection have not ended. */
int armedProbes(const Connection &connection)
{
    const QList<QTimer *> timers = connection.findChildren<QTimer *>();
    return static_cast<int>(std::count_if(timers.begin(), timers.end(),
                                          [](const QTimer *timer) { return timer->isActive(); }));
}

/** Finds the port of a connection through the notifier that watches its descriptor. */
class PortFinder : public QObject
{
public:
    PortFinder() { qApp->installEventFilter(this); }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::SockAct && qobject_cast<QSerialPort *>(watched->parent()))
            port = static_cast<QSerialPort *>(watched->parent());
        return false;
    }

    QSerialPort *port = nullptr;
};

} // namespace

class ConnectionTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void signalsComeBeforeTheSlots();
    void commandNumbersAreFixed();
    void startsWithTheLocalHostAsDestination();
    void openingGreetsTheFirmware();
    void openingSetsTheLineParameters();
    void openingAMissingPortFails();
    void closingAClosedPortWritesNothing();
    void closingWritesTheIdleCommand();
    void closingABrokenLineIsOneDisconnect();
    void aHangUpIsOneDisconnect();
    void everyErrorButNoErrorClosesThePort_data();
    void everyErrorButNoErrorClosesThePort();
    void sendsParameters_data();
    void sendsParameters();
    void sendsTheChannel_data();
    void sendsTheChannel();
    void ignoresOtherNumericParameters();
    void aFailedChannelCommandKeepsTheChannel();
    void silentDeviceLeadsToAFirmwarePage_data();
    void silentDeviceLeadsToAFirmwarePage();
    void theChannelReportDisarmsTheProbe();
    void anEarlierProbeStaysArmed();
    void anotherPortHasAProbeOfItsOwn();
    void theReportDisarmsOnlyTheNewerProbe();
    void closingDoesNotDisarmTheProbe();
    void openingResetsThePacketCount();
};

void ConnectionTest::init()
{
    MainWindow::numberOfDevices = 1;
    MainWindow::availableComPorts.clear();
}

void ConnectionTest::signalsComeBeforeTheSlots()
{
    const QList<QByteArray> expected = {
        "disconnectGui()",
        "showPacketCount(uint)",
        "updateChannelGui(QString)",
        "showFwUpdatePage()",
        "showFwUpdatePageTooManyDevices()",
        "connectOtherDevice()",
        "noFirmwareFound()",
        "readData()",
        "handleError(QSerialPort::SerialPortError)",
    };
    const QMetaObject &meta = Connection::staticMetaObject;
    QList<QByteArray> methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.append(meta.method(i).methodSignature());

    QCOMPARE(methods, expected);
    QCOMPARE(meta.method(meta.methodOffset() + 1).parameterNames(), QList<QByteArray>({"count"}));
    QCOMPARE(meta.method(meta.methodOffset() + 2).parameterNames(), QList<QByteArray>({"ch"}));
    QCOMPARE(meta.method(meta.methodCount() - 1).parameterNames(), QList<QByteArray>({"error"}));
}

void ConnectionTest::commandNumbersAreFixed()
{
    QCOMPARE(static_cast<int>(Connection::ParamSniff), 0);
    QCOMPARE(static_cast<int>(Connection::ParamIdle), 1);
    QCOMPARE(static_cast<int>(Connection::U8ParamChannel), 0);
}

void ConnectionTest::startsWithTheLocalHostAsDestination()
{
    Connection::host = QHostAddress("192.0.2.1");

    const Connection connection;

    QCOMPARE(Connection::host, QHostAddress("127.0.0.1"));
    QVERIFY(!connection.parent());
}

void ConnectionTest::openingGreetsTheFirmware()
{
    DeviceLink link;

    QVERIFY(link.connection.openSerialPort(link.device.portPath()));

    QVERIFY(link.deviceReceives("\nidle\n\nparms\n"));
    const QList<QByteArray> expected = {"Connected to " + link.device.portPath().toLocal8Bit(),
                                        "Test A", "Test B"};
    QCOMPARE(link.log.messages(), expected);
    QCOMPARE(link.disconnected.count(), 0);
    const QList<QTimer *> timers = link.connection.findChildren<QTimer *>();
    QCOMPARE(timers.size(), 1);
    QCOMPARE(timers.constFirst()->interval(), noFirmwareTimeoutMs);
    QVERIFY(timers.constFirst()->isSingleShot());
    QVERIFY(timers.constFirst()->isActive());
}

void ConnectionTest::openingSetsTheLineParameters()
{
    PortFinder finder;
    DeviceLink link;

    QVERIFY(link.open());

    QTRY_VERIFY_WITH_TIMEOUT(finder.port, patienceMs());
    QCOMPARE(finder.port->baudRate(QSerialPort::Input), 38400);
    QCOMPARE(finder.port->baudRate(QSerialPort::Output), 38400);
    QCOMPARE(finder.port->dataBits(), QSerialPort::Data8);
    QCOMPARE(finder.port->parity(), QSerialPort::NoParity);
    QCOMPARE(finder.port->stopBits(), QSerialPort::OneStop);
    QCOMPARE(finder.port->flowControl(), QSerialPort::NoFlowControl);
    QVERIFY(!finder.port->parent());
}

void ConnectionTest::openingAMissingPortFails()
{
    DeviceLink link;

    QVERIFY(!link.connection.openSerialPort("/dev/no-such-port"));

    // Qt reports a failed open as a port error, too.
    const QList<QByteArray> expected = {"Critical Error: No such file or directory",
                                        "Connection error"};
    QCOMPARE(link.log.messages(), expected);
    QCOMPARE(link.disconnected.count(), 1);
    QCOMPARE(armedProbes(link.connection), 0);
}

void ConnectionTest::closingAClosedPortWritesNothing()
{
    DeviceLink link;
    QVERIFY(link.open());
    link.connection.closeSerialPort();
    QVERIFY(link.deviceReceives("\nidle\n"));
    const int logged = link.log.messages().size();

    link.connection.closeSerialPort();

    QCOMPARE(link.log.messages().size(), logged);
    QVERIFY(link.connection.openSerialPort(link.device.portPath()));
    QVERIFY(link.deviceReceives("\nidle\n\nidle\n\nparms\n"));
}

void ConnectionTest::closingWritesTheIdleCommand()
{
    DeviceLink link;
    QVERIFY(link.open());

    link.connection.closeSerialPort();

    QVERIFY(link.deviceReceives("\nidle\n"));
    QCOMPARE(link.log.messages().constLast(), QByteArray("Disconnected"));
    QCOMPARE(link.disconnected.count(), 0);
}

void ConnectionTest::closingABrokenLineIsOneDisconnect()
{
    DeviceLink link;
    QVERIFY(link.open());
    link.device.hangUp();

    // The event loop has not seen the hang-up yet: the flush meets it first.
    link.connection.closeSerialPort();

    QCoreApplication::processEvents();
    QCOMPARE(link.log.messages().count("Disconnected"), 1);
    QCOMPARE(link.log.messages().constLast(), QByteArray("Disconnected"));
    QCOMPARE(link.disconnected.count(), 0);
}

void ConnectionTest::aHangUpIsOneDisconnect()
{
    DeviceLink link;
    QVERIFY(link.open());

    link.device.hangUp();

    QTRY_COMPARE_WITH_TIMEOUT(link.disconnected.count(), 1, patienceMs());
    QCoreApplication::processEvents();
    QCOMPARE(link.disconnected.count(), 1);
    const QList<QByteArray> messages = link.log.messages().mid(3);
    QCOMPARE(messages.size(), 2);
    QVERIFY2(messages.first().startsWith("Critical Error: "), messages.first());
    QCOMPARE(messages.last(), QByteArray("Disconnected"));
}

void ConnectionTest::everyErrorButNoErrorClosesThePort_data()
{
    QTest::addColumn<QSerialPort::SerialPortError>("error");
    QTest::addColumn<bool>("closes");
    const auto errors = QMetaEnum::fromType<QSerialPort::SerialPortError>();
    for (int i = 0; i < errors.keyCount(); ++i) {
        const auto error = static_cast<QSerialPort::SerialPortError>(errors.value(i));
        QTest::newRow(errors.key(i)) << error << (error != QSerialPort::NoError);
    }
}

void ConnectionTest::everyErrorButNoErrorClosesThePort()
{
    QFETCH(QSerialPort::SerialPortError, error);
    QFETCH(bool, closes);
    DeviceLink link;
    QByteArray loggedBeforeTheSignal;
    connect(&link.connection, &Connection::disconnectGui, this,
            [&] { loggedBeforeTheSignal = link.log.messages().constLast(); });
    QVERIFY(link.open());

    QVERIFY(QMetaObject::invokeMethod(&link.connection, "handleError",
                                      Q_ARG(QSerialPort::SerialPortError, error)));

    QCOMPARE(link.disconnected.count(), closes ? 1 : 0);
    QCOMPARE(link.log.messages().count("Disconnected"), closes ? 1 : 0);
    QCOMPARE(loggedBeforeTheSignal, closes ? QByteArray("Disconnected") : QByteArray());
    if (closes)
        QVERIFY(link.deviceReceives("\nidle\n"));
}

void ConnectionTest::sendsParameters_data()
{
    QTest::addColumn<int>("parameter");
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("sniff") << 0 << QByteArray("\nsniff\n");
    QTest::newRow("idle") << 1 << QByteArray("\nidle\n");
    QTest::newRow("unknown") << 2 << QByteArray();
    QTest::newRow("negative") << -1 << QByteArray();
}

void ConnectionTest::sendsParameters()
{
    QFETCH(int, parameter);
    QFETCH(QByteArray, command);
    DeviceLink link;
    QVERIFY(link.open());

    link.connection.sendParameter(static_cast<Connection::Params>(parameter));

    link.connection.closeSerialPort();
    QVERIFY(link.deviceReceives(command + "\nidle\n"));
}

void ConnectionTest::sendsTheChannel_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("channel");
    QTest::newRow("highest") << 26 << QByteArray("\nchan 26\n") << 26;
    QTest::newRow("zero") << 0 << QByteArray("\nchan 0\n") << 0;
    QTest::newRow("negative") << -5 << QByteArray("\nchan -5\n") << 251;
    QTest::newRow("wider than a byte") << 300 << QByteArray("\nchan 300\n") << 44;
}

void ConnectionTest::sendsTheChannel()
{
    QFETCH(int, value);
    QFETCH(QByteArray, command);
    QFETCH(int, channel);
    const ZepReceiver receiver;
    DeviceLink link;
    QVERIFY(link.openConfirmed());

    link.connection.sendU8Parameter(Connection::U8ParamChannel, value);

    QVERIFY(link.deviceReceives(command));
    link.sendRecord(QByteArray(8 + 6, 'x'));
    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), 1, patienceMs());
    QCOMPARE(static_cast<int>(static_cast<quint8>(receiver.datagrams().first().at(4))), channel);
}

void ConnectionTest::ignoresOtherNumericParameters()
{
    const ZepReceiver receiver;
    DeviceLink link;
    QVERIFY(link.openConfirmed());

    link.connection.sendU8Parameter(static_cast<Connection::U8Params>(1), 15);

    link.sendRecord(QByteArray(8 + 6, 'x'));
    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), 1, patienceMs());
    QCOMPARE(static_cast<int>(receiver.datagrams().first().at(4)), 11);
    link.connection.closeSerialPort();
    QVERIFY(link.deviceReceives("\nidle\n"));
}

void ConnectionTest::aFailedChannelCommandKeepsTheChannel()
{
    const ZepReceiver receiver;
    DeviceLink link;
    {
        const MessageCapture quiet;
        link.connection.sendU8Parameter(Connection::U8ParamChannel, 26);
    }
    QVERIFY(link.log.messages().isEmpty());
    // No report here, which would bring a channel of its own.
    QVERIFY(link.open());

    link.sendRecord(QByteArray(8 + 6, 'x'));

    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), 1, patienceMs());
    QCOMPARE(static_cast<int>(receiver.datagrams().first().at(4)), 11);
}

void ConnectionTest::silentDeviceLeadsToAFirmwarePage_data()
{
    addFirmwarePageRows();
}

void ConnectionTest::silentDeviceLeadsToAFirmwarePage()
{
    QFETCH(int, devices);
    QFETCH(std::vector<QString>, ports);
    QFETCH(bool, unambiguous);
    MainWindow::numberOfDevices = devices;
    MainWindow::availableComPorts = ports;
    DeviceLink link;
    QByteArray loggedBeforeTheSignal;
    const auto keepLastMessage = [&] { loggedBeforeTheSignal = link.log.messages().constLast(); };
    connect(&link.connection, &Connection::showFwUpdatePage, this, keepLastMessage);
    connect(&link.connection, &Connection::showFwUpdatePageTooManyDevices, this, keepLastMessage);
    QElapsedTimer sinceOpening;
    sinceOpening.start();
    QVERIFY(link.open());
    link.probe.release();

    QTRY_COMPARE_WITH_TIMEOUT(link.firmwarePages.count() + link.severalDevicesPages.count(), 1,
                              patienceMs());

    QVERIFY(sinceOpening.elapsed() >= noFirmwareTimeoutMs * 95 / 100);
    QCOMPARE(link.firmwarePages.count(), unambiguous ? 1 : 0);
    QCOMPARE(loggedBeforeTheSignal, QByteArray("Disconnected"));
    QVERIFY(link.deviceReceives("\nidle\n"));
    QCOMPARE(link.disconnected.count(), 0);
    QCOMPARE(link.otherDevices.count(), 0);
}

void ConnectionTest::theChannelReportDisarmsTheProbe()
{
    DeviceLink link;
    QVERIFY(link.open());

    // The first byte after the tag is proof enough.
    link.device.send("HAN: 1");

    QTRY_VERIFY_WITH_TIMEOUT(link.connection.findChildren<QTimer *>().isEmpty(), patienceMs());
    QCOMPARE(link.firmwarePages.count(), 0);
    QCOMPARE(link.log.messages().count("Disconnected"), 0);
}

void ConnectionTest::anEarlierProbeStaysArmed()
{
    DeviceLink link;
    QVERIFY(link.open());
    link.connection.closeSerialPort();
    QVERIFY(link.connection.openSerialPort(link.device.portPath()));
    link.probe.release();

    QTRY_COMPARE_WITH_TIMEOUT(link.firmwarePages.count(), 2, patienceMs());

    QCOMPARE(armedProbes(link.connection), 0);
}

void ConnectionTest::anotherPortHasAProbeOfItsOwn()
{
    DeviceLink link;
    DeviceLink other;
    QVERIFY(link.open());
    link.connection.closeSerialPort();
    QVERIFY(link.connection.openSerialPort(other.device.portPath()));
    link.probe.release();
    other.probe.release();

    QTRY_COMPARE_WITH_TIMEOUT(link.firmwarePages.count(), 2, patienceMs());
    QCOMPARE(other.firmwarePages.count(), 0);
}

void ConnectionTest::theReportDisarmsOnlyTheNewerProbe()
{
    DeviceLink link;
    QVERIFY(link.open());
    const QPointer<QTimer> olderProbe = link.connection.findChild<QTimer *>();
    link.connection.closeSerialPort();
    QVERIFY(link.connection.openSerialPort(link.device.portPath()));

    QTRY_VERIFY_WITH_TIMEOUT(link.device.received().endsWith("\nparms\n"), patienceMs());
    link.device.send("HAN: 11\n");

    QTRY_COMPARE_WITH_TIMEOUT(link.channels.count(), 1, patienceMs());
    QCOMPARE(armedProbes(link.connection), 1);
    QVERIFY(olderProbe && olderProbe->isActive());
    link.probe.release();
    QTRY_COMPARE_WITH_TIMEOUT(link.firmwarePages.count(), 1, patienceMs());
    QCOMPARE(armedProbes(link.connection), 0);
}

void ConnectionTest::closingDoesNotDisarmTheProbe()
{
    DeviceLink link;
    QVERIFY(link.open());
    link.connection.closeSerialPort();
    link.probe.release();

    QTRY_COMPARE_WITH_TIMEOUT(link.firmwarePages.count(), 1, patienceMs());

    QCOMPARE(link.log.messages().count("Disconnected"), 1);
}

void ConnectionTest::openingResetsThePacketCount()
{
    const ZepReceiver receiver;
    DeviceLink link;
    for (int pass = 0; pass < 2; ++pass) {
        QVERIFY(link.open());
        link.device.send("HAN: 11\n");
        link.sendRecord(QByteArray(20, 'x'));
        link.sendRecord(QByteArray(20, 'x'));
        QTRY_COMPARE_WITH_TIMEOUT(link.packetCounts.count(), 2 * (pass + 1), patienceMs());
        link.connection.closeSerialPort();
    }

    QList<uint> counts;
    for (const QList<QVariant> &arguments : qAsConst(link.packetCounts))
        counts.append(arguments.first().toUInt());
    QCOMPARE(counts, QList<uint>({1, 2, 1, 2}));
}

QTEST_MAIN(ConnectionTest)

#include "tst_connection.moc"
