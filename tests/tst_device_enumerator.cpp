#include "debug_log.h"
#include "device_enumerator.h"
#include "log_capture.h"
#include "mocked_machine.h"

#include <QFile>
#include <QSerialPortInfo>
#include <QtTest>

#include <sys/mount.h>

using Kind = Simulator::MockedMachine::Kind;
using Simulator::MockedMachine;
using Tarvos::DeviceEntry;
using Tarvos::DeviceEnumerator;

namespace {

/** A port of the mocked machine: what it is and where. */
struct Port
{
    Kind kind;
    QString node;
};

/** In place of a link's target: /dev/serial0 is an ordinary file. */
constexpr char aFile[] = "a file";

/**
 * While it lives, /dev/serial0 is a link to a port that is not there. The mocked machine shows
 * only what exists in it, so this is a /dev of the test's own mounts.
 */
class LinkToNowhere
{
public:
    LinkToNowhere()
    {
        if (mount("tmpfs", "/dev", "tmpfs", 0, nullptr) != 0)
            qFatal("cannot replace /dev; start the test by tests/support/run-alone");
        QFile::link("ttyNOWHERE", "/dev/serial0");
    }
    ~LinkToNowhere() { umount2("/dev", MNT_DETACH); }
    Q_DISABLE_COPY(LinkToNowhere)
};

/** Writes the entry's fields in their order, so that a failure shows them. */
QString text(const DeviceEntry &entry)
{
    return QString("%1 %2 %3 %4 %5")
        .arg(entry.friendlyName, entry.path)
        .arg(entry.reserved)
        .arg(entry.vendorId, 4, 16, QLatin1Char('0'))
        .arg(entry.productId, 4, 16, QLatin1Char('0'));
}

QStringList texts(const DeviceEnumerator &enumerator)
{
    QStringList texts;
    for (const DeviceEntry &entry : enumerator.getList())
        texts.append(text(entry));
    return texts;
}

} // namespace

Q_DECLARE_METATYPE(Port)

class DeviceEnumeratorTest : public QObject
{
    Q_OBJECT

private slots:
    void listsNothingBeforeTheFirstScan();
    void recognisesDevices_data();
    void recognisesDevices();
    void aLinkThatLeadsNowhereIsNone();
    void keepsTheOrderOfTheSystem();
    void scansReplaceTheList();
    void logsTheBoard_data();
    void logsTheBoard();
    void logsEveryPortWhenAsked();
    void declaresNoSignalsOrSlots();
};

void DeviceEnumeratorTest::listsNothingBeforeTheFirstScan()
{
    QObject parent;
    const auto *enumerator = new DeviceEnumerator(&parent);

    QCOMPARE(enumerator->parent(), &parent);
    QVERIFY(enumerator->getList().empty());
}

void DeviceEnumeratorTest::recognisesDevices_data()
{
    QTest::addColumn<QVector<Port>>("ports");
    QTest::addColumn<QString>("serial0");
    QTest::addColumn<QStringList>("entries");

    const QString none = "";
    const Port pl011 {Kind::Vostrel, "ttyAMA0"};
    const Port miniUart {Kind::Vostrel, "ttyS0"};
    const QString boardOnPl011 = "Vostrel /dev/ttyAMA0 0 0000 0000";
    const QString boardOnMiniUart = "Vostrel /dev/ttyS0 0 0000 0000";

    QTest::newRow("no port") << QVector<Port>() << none << QStringList();
    QTest::newRow("dongle") << QVector<Port> {{Kind::Mirzel, "ttyUSB0"}} << none
                            << QStringList {"Mirzel /dev/ttyUSB0 0 0403 6015"};
    QTest::newRow("dongle without identifiers")
        << QVector<Port> {{Kind::MirzelWithoutIdentifiers, "ttyUSB1"}} << none
        << QStringList {"Mirzel /dev/ttyUSB1 0 0403 6015"};
    QTest::newRow("dongle without identifiers on a foreign node")
        << QVector<Port> {{Kind::MirzelWithoutIdentifiers, "ttyXRUSB0"}} << none << QStringList();
    QTest::newRow("dongle on a foreign node") << QVector<Port> {{Kind::Mirzel, "ttyXR0"}} << none
                                              << QStringList {"Mirzel /dev/ttyXR0 0 0403 6015"};
    QTest::newRow("foreign product of the bridge's maker")
        << QVector<Port> {{Kind::ForeignFtdi, "ttyUSB0"}} << none << QStringList();
    QTest::newRow("product of the dongle's maker that the table does not list")
        << QVector<Port> {{Kind::OtherProductOfTheMaker, "ttyUSB0"}} << none << QStringList();
    QTest::newRow("foreign product of the bridge's maker with the bridge's name")
        << QVector<Port> {{Kind::FtdiWithTheBridgesName, "ttyUSB0"}} << none << QStringList();
    QTest::newRow("foreign maker with the bridge's name")
        << QVector<Port> {{Kind::ForeignWithTheBridgesName, "ttyUSB0"}} << none
        << QStringList {"Mirzel /dev/ttyUSB0 0 0403 6015"};
    QTest::newRow("foreign modem")
        << QVector<Port> {{Kind::ForeignAcm, "ttyACM0"}} << none << QStringList();
    QTest::newRow("foreign bridge")
        << QVector<Port> {{Kind::ForeignUsbSerial, "ttyUSB0"}} << none << QStringList();
    QTest::newRow("board on its PL011, no link")
        << QVector<Port> {pl011} << none << QStringList {boardOnPl011};
    QTest::newRow("board on its mini UART, no link")
        << QVector<Port> {miniUart} << none << QStringList();
    QTest::newRow("both UARTs, no link")
        << QVector<Port> {pl011, miniUart} << none << QStringList {boardOnPl011};
    QTest::newRow("both UARTs, link to the mini UART")
        << QVector<Port> {pl011, miniUart} << "ttyS0" << QStringList {boardOnMiniUart};
    QTest::newRow("both UARTs, link to the PL011")
        << QVector<Port> {pl011, miniUart} << "ttyAMA0" << QStringList {boardOnPl011};
    QTest::newRow("link to another port")
        << QVector<Port> {pl011, {Kind::ForeignAcm, "ttyACM0"}} << "ttyACM0" << QStringList();
    QTest::newRow("no link but a file of that name")
        << QVector<Port> {pl011, miniUart} << aFile << QStringList {boardOnPl011};
    QTest::newRow("dongle without identifiers on a modem's node")
        << QVector<Port> {{Kind::MirzelWithoutIdentifiers, "ttyACM0"}} << none
        << QStringList {"Mirzel /dev/ttyACM0 0 0403 6015"};
    QTest::newRow("longer name, foreign")
        << QVector<Port> {{Kind::ForeignUsbSerial, "ttyS01"}} << none << QStringList();
    QTest::newRow("longer name, dongle") << QVector<Port> {{Kind::Mirzel, "ttyS01"}} << none
                                         << QStringList {"Mirzel /dev/ttyS01 0 0403 6015"};
    QTest::newRow("dongle on a UART's node, link elsewhere")
        << QVector<Port> {{Kind::Mirzel, "ttyS0"}, pl011} << "ttyAMA0"
        << QStringList {boardOnPl011, "Mirzel /dev/ttyS0 0 0403 6015"};
    QTest::newRow("identifiers on the board's UART")
        << QVector<Port> {{Kind::Mirzel, "ttyAMA0"}} << none
        << QStringList {"Vostrel /dev/ttyAMA0 0 0403 6015"};
}

void DeviceEnumeratorTest::recognisesDevices()
{
    QFETCH(QVector<Port>, ports);
    QFETCH(QString, serial0);
    QFETCH(QStringList, entries);
    MockedMachine machine;
    for (const Port &port : qAsConst(ports))
        machine.plugIn(port.kind, port.node, "/dev/null");
    QFile file(qEnvironmentVariable("UMOCKDEV_DIR") + "/dev/serial0");
    if (serial0 == aFile)
        QVERIFY(file.open(QIODevice::WriteOnly));
    else if (!serial0.isEmpty())
        machine.linkSerial0(serial0);
    DeviceEnumerator enumerator(nullptr);

    QCOMPARE(enumerator.listSerialPorts(), 1);
    QStringList found = texts(enumerator);
    found.sort();
    entries.sort();
    QCOMPARE(found, entries);

    // Nothing has changed, so nothing changes in the list.
    const QStringList first = texts(enumerator);
    QCOMPARE(enumerator.listSerialPorts(), 1);
    QCOMPARE(texts(enumerator), first);
}

void DeviceEnumeratorTest::aLinkThatLeadsNowhereIsNone()
{
    MockedMachine machine;
    machine.plugIn(Kind::Vostrel, "ttyAMA0", "/dev/null");
    machine.plugIn(Kind::Vostrel, "ttyS0", "/dev/null");
    const LinkToNowhere link;
    QVERIFY(QFileInfo("/dev/serial0").isSymLink());
    DeviceEnumerator enumerator(nullptr);

    enumerator.listSerialPorts();

    QCOMPARE(texts(enumerator), QStringList("Vostrel /dev/ttyAMA0 0 0000 0000"));
}

void DeviceEnumeratorTest::keepsTheOrderOfTheSystem()
{
    MockedMachine machine;
    for (const char *node : {"ttyUSB2", "ttyUSB0", "ttyUSB1"})
        machine.plugIn(Kind::Mirzel, node, "/dev/null");
    machine.plugIn(Kind::Vostrel, "ttyAMA0", "/dev/null");
    DeviceEnumerator enumerator(nullptr);

    enumerator.listSerialPorts();

    QStringList paths;
    for (const DeviceEntry &entry : enumerator.getList())
        paths.append(entry.path);
    QStringList expected;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : ports)
        expected.append(port.systemLocation());
    QCOMPARE(paths.size(), 4);
    QCOMPARE(paths, expected);
}

void DeviceEnumeratorTest::scansReplaceTheList()
{
    MockedMachine machine;
    DeviceEnumerator enumerator(nullptr);
    const std::vector<DeviceEntry> &list = enumerator.getList();

    machine.plugIn(Kind::Mirzel, "ttyUSB0", "/dev/null");
    enumerator.listSerialPorts();
    QCOMPARE(list.size(), size_t(1));
    machine.unplug("ttyUSB0");
    machine.plugIn(Kind::Mirzel, "ttyUSB7", "/dev/null");
    enumerator.listSerialPorts();
    QCOMPARE(list.size(), size_t(1));
    QCOMPARE(list.front().path, QString("/dev/ttyUSB7"));
    machine.unplug("ttyUSB7");
    QCOMPARE(enumerator.listSerialPorts(), 1);
    QVERIFY(list.empty());
}

void DeviceEnumeratorTest::logsTheBoard_data()
{
    QTest::addColumn<QString>("serial0");
    QTest::addColumn<QList<QByteArray>>("messages");
    QTest::newRow("no link") << QString() << QList<QByteArray> {"dev /dev/ttyAMA0"};
    QTest::newRow("link to the PL011")
        << "ttyAMA0" << QList<QByteArray> {"dev /dev/ttyAMA0 (/dev/ttyAMA0)"};
    QTest::newRow("link to the mini UART")
        << "ttyS0" << QList<QByteArray> {"dev /dev/ttyS0 (/dev/ttyS0)"};
}

void DeviceEnumeratorTest::logsTheBoard()
{
    QFETCH(QString, serial0);
    QFETCH(QList<QByteArray>, messages);
    MockedMachine machine;
    machine.plugIn(Kind::Vostrel, "ttyAMA0", "/dev/null");
    machine.plugIn(Kind::Vostrel, "ttyS0", "/dev/null");
    machine.plugIn(Kind::Mirzel, "ttyUSB0", "/dev/null");
    if (!serial0.isEmpty())
        machine.linkSerial0(serial0);
    DeviceEnumerator enumerator(nullptr);
    const LogCapture log;

    enumerator.listSerialPorts();

    QCOMPARE(log.messages(), messages);
}

void DeviceEnumeratorTest::logsEveryPortWhenAsked()
{
    MockedMachine machine;
    machine.plugIn(Kind::Mirzel, "ttyUSB0", "/dev/null");
    machine.plugIn(Kind::ForeignUsbSerial, "ttyFOREIGN0", "/dev/null");
    DeviceEnumerator enumerator(nullptr);
    const LogCapture log;
    DBG_Enable(DBG_PORT_SCAN);

    enumerator.listSerialPorts();

    QCOMPARE(log.messages().size(), 2);
    QVERIFY(log.messages().contains("COM: /dev/ttyUSB0 : FT230X Basic UART"));
    QVERIFY(log.text().contains("COM: /dev/ttyFOREIGN0 : "));
}

void DeviceEnumeratorTest::declaresNoSignalsOrSlots()
{
    const QMetaObject &meta = DeviceEnumerator::staticMetaObject;

    QCOMPARE(meta.className(), "Tarvos::DeviceEnumerator");
    QCOMPARE(meta.methodCount(), meta.methodOffset());
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
}

QTEST_GUILESS_MAIN(DeviceEnumeratorTest)

#include "tst_device_enumerator.moc"
