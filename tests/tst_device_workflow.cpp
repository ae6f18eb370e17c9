#include "mocked_machine.h"
#include "patience.h"
#include "simulated_device.h"
#include "window_under_test.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

using Kind = Simulator::MockedMachine::Kind;
using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

namespace {

constexpr char greeting[] = "\nidle\n\nparms\n";
constexpr int comPortDelayMs = 400;
constexpr int deviceCountPollMs = 1000;

std::vector<QString> ports(std::initializer_list<const char *> paths)
{
    return {paths.begin(), paths.end()};
}

QStringList itemTexts(const QComboBox *box)
{
    QStringList texts;
    for (int i = 0; i < box->count(); ++i)
        texts.append(box->itemText(i));
    return texts;
}

QList<int> itemNumbers(const QComboBox *box)
{
    QList<int> numbers;
    for (int i = 0; i < box->count(); ++i)
        numbers.append(box->itemData(i).toInt());
    return numbers;
}

/** Returns the intervals of the window's timers that are running. */
QList<int> activeIntervals(const MainWindow &window)
{
    QList<int> intervals;
    const QList<QTimer *> timers =
        window.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    for (const QTimer *timer : timers) {
        if (timer->isActive())
            intervals.append(timer->interval());
    }
    return intervals;
}

} // namespace

class DeviceWorkflowTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void listsTheDevicesAtStart();
    void refreshingAnUnchangedListKeepsTheSelection();
    void refreshingAChangedListStartsOver();
    void noticesADeviceReplacedByAnotherOnTheSamePort();
    void noticesADeviceThatOnlyChangesItsName();
    void connectingWithoutADeviceIsLogged();
    void connectingToAnInvalidEntryIsLogged_data();
    void connectingToAnInvalidEntryIsLogged();
    void opensTheSelectedDevice();
    void opensAPathByItsTailFromCom();
    void connectingShowsTheConnectedPage();
    void theConnectedPageShowsThePortAfterAMoment();
    void theLabelIsSetOnceForEachConnectSoFar();
    void aDeviceThatIsGoneLeavesAFreshList();
    void disconnectingIdlesTheDeviceBeforeThePortCloses();
    void disconnectingDoesNotStopThePortTimer();
    void disconnectingDoesNotStopTheProbe();
    void aHangUpLeadsToTheStartPage();
    void unpluggingLeadsToTheStartPageAndLeavesTheList();
    void aReconnectWorks();
    void pollsWhileNoDeviceIsThere();

private:
    /** Plugs a device in as the next dongle. */
    void plugIn(const SimulatedDevice &device, const QString &node, Kind kind = Kind::Mirzel);

    std::unique_ptr<MockedMachine> m_machine;
};

void DeviceWorkflowTest::init()
{
    m_machine = std::make_unique<MockedMachine>();
}

void DeviceWorkflowTest::cleanup()
{
    m_machine.reset();
}

void DeviceWorkflowTest::plugIn(const SimulatedDevice &device, const QString &node, Kind kind)
{
    m_machine->plugIn(kind, node, device.portPath());
}

void DeviceWorkflowTest::listsTheDevicesAtStart()
{
    const SimulatedDevice dongle({});
    const SimulatedDevice board({});
    plugIn(dongle, "ttyUSB0");
    plugIn(board, "ttyAMA0", Kind::Vostrel);

    const WindowUnderTest test;

    const auto *box = test.find<QComboBox>("usbComboBox");
    QCOMPARE(box->count(), 2);
    QVERIFY(itemTexts(box).contains("Mirzel"));
    QVERIFY(itemTexts(box).contains("Vostrel"));
    QCOMPARE(itemNumbers(box), QList<int>({0, 1}));
    QVERIFY(box->itemIcon(0).isNull());
    QCOMPARE(MainWindow::numberOfDevices, 2);
    QCOMPARE(MainWindow::availableComPorts.size(), size_t(2));
    QCOMPARE(box->currentIndex(), 0);
}

void DeviceWorkflowTest::refreshingAnUnchangedListKeepsTheSelection()
{
    const SimulatedDevice first({});
    const SimulatedDevice second({});
    plugIn(first, "ttyUSB0");
    plugIn(second, "ttyUSB1");
    const WindowUnderTest test;
    auto *box = test.find<QComboBox>("usbComboBox");
    box->setCurrentIndex(1);
    box->setItemText(1, "untouched");
    const std::vector<QString> scanned = MainWindow::availableComPorts;
    MainWindow::availableComPorts.clear();
    MainWindow::numberOfDevices = 0;

    test.click("refreshComButton");

    QCOMPARE(box->currentIndex(), 1);
    QCOMPARE(itemTexts(box), QStringList({"Mirzel", "untouched"}));
    QCOMPARE(MainWindow::numberOfDevices, 2);
    QCOMPARE(MainWindow::availableComPorts, scanned);
    QCOMPARE(scanned, ports({"/dev/ttyUSB0", "/dev/ttyUSB1"}));
}

void DeviceWorkflowTest::refreshingAChangedListStartsOver()
{
    const SimulatedDevice first({});
    const SimulatedDevice second({});
    plugIn(first, "ttyUSB0");
    plugIn(second, "ttyUSB1");
    const WindowUnderTest test;
    auto *box = test.find<QComboBox>("usbComboBox");
    box->setCurrentIndex(1);

    m_machine->unplug("ttyUSB0");
    test.click("refreshComButton");

    QCOMPARE(itemTexts(box), QStringList({"Mirzel"}));
    QCOMPARE(itemNumbers(box), QList<int>({0}));
    QCOMPARE(box->currentIndex(), 0);
    QCOMPARE(MainWindow::availableComPorts, ports({"/dev/ttyUSB1"}));
    QCOMPARE(MainWindow::numberOfDevices, 1);
}

void DeviceWorkflowTest::noticesADeviceReplacedByAnotherOnTheSamePort()
{
    const SimulatedDevice device({});
    plugIn(device, "ttyAMA0", Kind::Mirzel);
    const WindowUnderTest test;
    auto *box = test.find<QComboBox>("usbComboBox");
    box->setItemText(0, "listed before");

    // The same path and name, other identifiers.
    m_machine->unplug("ttyAMA0");
    plugIn(device, "ttyAMA0", Kind::Vostrel);
    test.click("refreshComButton");

    QCOMPARE(itemTexts(box), QStringList({"Vostrel"}));
}

void DeviceWorkflowTest::noticesADeviceThatOnlyChangesItsName()
{
    const SimulatedDevice device({});
    const SimulatedDevice board({});
    plugIn(device, "ttyAMA0", Kind::Mirzel);
    const WindowUnderTest test;
    const auto *box = test.find<QComboBox>("usbComboBox");
    QCOMPARE(itemTexts(box), QStringList({"Vostrel"}));

    // A link that leads elsewhere makes it an ordinary port.
    m_machine->linkSerial0("ttyUSB9");
    plugIn(board, "ttyUSB9", Kind::ForeignUsbSerial);
    test.click("refreshComButton");

    QCOMPARE(itemTexts(box), QStringList({"Mirzel"}));
}

void DeviceWorkflowTest::connectingWithoutADeviceIsLogged()
{
    const WindowUnderTest test;

    test.click("devConnectButton");

    const QList<QByteArray> expected = {
        "void MainWindow::devConnectClicked() no valid combobox idx: -1"};
    QCOMPARE(test.log.messages(), expected);
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
}

void DeviceWorkflowTest::connectingToAnInvalidEntryIsLogged_data()
{
    QTest::addColumn<QVariant>("data");
    QTest::addColumn<int>("logged");
    QTest::newRow("negative") << QVariant(-1) << -1;
    QTest::newRow("behind the last") << QVariant(1) << 1;
    QTest::newRow("no number") << QVariant("x") << 0;
    QTest::newRow("nothing") << QVariant() << 0;
}

void DeviceWorkflowTest::connectingToAnInvalidEntryIsLogged()
{
    QFETCH(QVariant, data);
    QFETCH(int, logged);
    const SimulatedDevice device({});
    plugIn(device, "ttyUSB0");
    const WindowUnderTest test;
    test.find<QComboBox>("usbComboBox")->setItemData(0, data);

    test.click("devConnectButton");

    const QList<QByteArray> expected = {
        "void MainWindow::devConnectClicked() no valid com port id: " + QByteArray::number(logged)};
    QCOMPARE(test.log.messages(), expected);
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
}

void DeviceWorkflowTest::opensTheSelectedDevice()
{
    const SimulatedDevice first({});
    const SimulatedDevice second({});
    plugIn(first, "ttyUSB0");
    plugIn(second, "ttyUSB1");
    const WindowUnderTest test;
    test.find<QComboBox>("usbComboBox")->setCurrentIndex(1);

    test.click("devConnectButton");

    QTRY_COMPARE_WITH_TIMEOUT(second.received(), QByteArray(greeting), patienceMs());
    QCOMPARE(first.received(), QByteArray());
    const QList<QByteArray> expected = {"Connected to /dev/ttyUSB1", "Test A", "Test B"};
    QCOMPARE(test.log.messages(), expected);
}

void DeviceWorkflowTest::opensAPathByItsTailFromCom()
{
    const SimulatedDevice device({});
    const SimulatedDevice behindTheTail({});
    plugIn(device, "ttyCOM1");
    plugIn(behindTheTail, "COM1", Kind::ForeignUsbSerial);
    const WindowUnderTest test;
    QCOMPARE(MainWindow::availableComPorts, ports({"COM1"}));

    test.click("devConnectButton");

    QTRY_COMPARE_WITH_TIMEOUT(behindTheTail.received(), QByteArray(greeting), patienceMs());
    QCOMPARE(test.log.messages().constFirst(), QByteArray("Connected to COM1"));
    QTRY_COMPARE_WITH_TIMEOUT(test.find<QLabel>("label_com_port")->text(), QString("COM1"),
                              patienceMs());
}

void DeviceWorkflowTest::connectingShowsTheConnectedPage()
{
    const SimulatedDevice device({});
    plugIn(device, "ttyUSB0");
    const WindowUnderTest test;
    test.find<QLabel>("label_packetCount")->setText("17");

    test.click("devConnectButton");

    QCOMPARE(test.page(), QByteArray("pageConnected"));
    QCOMPARE(test.find<QLabel>("label_packetCount")->text(), QString("0"));
    QVERIFY(!test.find<QPushButton>("OffBtn")->isEnabled());
    QVERIFY(test.find<QPushButton>("OnBtn")->isEnabled());
    QVERIFY(test.find<QComboBox>("channelSelect")->isEnabled());
}

void DeviceWorkflowTest::theConnectedPageShowsThePortAfterAMoment()
{
    const SimulatedDevice device({});
    plugIn(device, "ttyUSB0");
    const WindowUnderTest test;
    const auto *label = test.find<QLabel>("label_com_port");
    QElapsedTimer sinceConnect;
    sinceConnect.start();

    test.click("devConnectButton");

    QCOMPARE(label->text(), QString("Connecting..."));
    QCOMPARE(activeIntervals(test.window), QList<int>({comPortDelayMs}));
    QTRY_COMPARE_WITH_TIMEOUT(label->text(), QString("/dev/ttyUSB0"), patienceMs());
    QVERIFY(sinceConnect.elapsed() >= comPortDelayMs * 95 / 100);
    test.click("devDisconnectButton");
    QCOMPARE(label->text(), QString("Connecting..."));
}

void DeviceWorkflowTest::theLabelIsSetOnceForEachConnectSoFar()
{
    const SimulatedDevice device({});
    plugIn(device, "ttyUSB0");
    const WindowUnderTest test;
    auto *label = test.find<QLabel>("label_com_port");
    test.connectToDevice();
    test.click("devDisconnectButton");

    // Runs between the first connect's setting of the label and the second's.
    const QList<QTimer *> timers = test.window.findChildren<QTimer *>();
    for (const QTimer *timer : timers) {
        connect(timer, &QTimer::timeout, label, [label] {
            label->setToolTip(label->text());
            label->setText("in between");
        });
    }
    test.click("devConnectButton");

    QTRY_COMPARE_WITH_TIMEOUT(label->toolTip(), QString("/dev/ttyUSB0"), patienceMs());
    QCOMPARE(label->text(), QString("/dev/ttyUSB0"));
}

void DeviceWorkflowTest::aDeviceThatIsGoneLeavesAFreshList()
{
    const SimulatedDevice device({});
    plugIn(device, "ttyUSB0");
    const WindowUnderTest test;
    m_machine->unplug("ttyUSB0");

    test.click("devConnectButton");

    const QList<QByteArray> expected = {"Critical Error: No such file or directory",
                                        "Connection error"};
    QCOMPARE(test.log.messages(), expected);
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), 0);
    QCOMPARE(MainWindow::numberOfDevices, 0);
}

void DeviceWorkflowTest::disconnectingIdlesTheDeviceBeforeThePortCloses()
{
    SimulatedDevice device({});
    plugIn(device, "ttyUSB0");
    const WindowUnderTest test;
    test.click("devConnectButton");
    QTRY_COMPARE_WITH_TIMEOUT(device.received(), QByteArray(greeting), patienceMs());
    test.click("OnBtn");
    QTRY_VERIFY_WITH_TIMEOUT(device.isSniffing(), patienceMs());
    device.clearReceived();

    test.click("devDisconnectButton");

    // One from stopping the capture, one from closing the port.
    QTRY_COMPARE_WITH_TIMEOUT(device.received(), QByteArray("\nidle\n\nidle\n"), patienceMs());
    QVERIFY(!device.isSniffing());
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    QCOMPARE(test.log.messages().constLast(), QByteArray("Disconnected"));
}

void DeviceWorkflowTest::disconnectingDoesNotStopThePortTimer()
{
    const SimulatedDevice device({});
    plugIn(device, "ttyUSB0");
    const WindowUnderTest test;
    const auto *label = test.find<QLabel>("label_com_port");
    test.click("devConnectButton");

    test.click("devDisconnectButton");

    QCOMPARE(label->text(), QString("Connecting..."));
    QTRY_COMPARE_WITH_TIMEOUT(label->text(), QString("/dev/ttyUSB0"), patienceMs());
}

void DeviceWorkflowTest::disconnectingDoesNotStopTheProbe()
{
    SimulatedDevice::Settings settings;
    settings.firmware = SimulatedDevice::Firmware::Silent;
    const SimulatedDevice device(settings);
    plugIn(device, "ttyUSB0");
    WindowUnderTest test;
    test.probe.release();
    test.click("devConnectButton");

    test.click("devDisconnectButton");

    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNoFirmware"), patienceMs());
    QCOMPARE(test.log.messages().count("Disconnected"), 1);
}

void DeviceWorkflowTest::aHangUpLeadsToTheStartPage()
{
    SimulatedDevice device({});
    plugIn(device, "ttyUSB0");
    const WindowUnderTest test;
    test.click("devConnectButton");
    QTRY_COMPARE_WITH_TIMEOUT(device.received(), QByteArray(greeting), patienceMs());

    device.hangUp();

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNotConnected"), patienceMs());
    QCOMPARE(test.log.messages().count("Disconnected"), 1);
    QVERIFY(test.find<QPushButton>("OnBtn")->isEnabled());
}

void DeviceWorkflowTest::unpluggingLeadsToTheStartPageAndLeavesTheList()
{
    SimulatedDevice device({});
    const SimulatedDevice other({});
    plugIn(device, "ttyUSB0");
    plugIn(other, "ttyUSB1");
    const WindowUnderTest test;
    test.click("devConnectButton");
    QTRY_COMPARE_WITH_TIMEOUT(device.received(), QByteArray(greeting), patienceMs());
    test.click("OnBtn");

    m_machine->unplug("ttyUSB0");
    device.hangUp();

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNotConnected"), patienceMs());
    QCOMPARE(MainWindow::availableComPorts, ports({"/dev/ttyUSB1"}));
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), 1);
}

void DeviceWorkflowTest::aReconnectWorks()
{
    const SimulatedDevice device({});
    plugIn(device, "ttyUSB0");
    const WindowUnderTest test;
    for (int pass = 0; pass < 3; ++pass) {
        test.connectToDevice();
        QCOMPARE(test.page(), QByteArray("pageConnected"));
        test.click("devDisconnectButton");
        QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    }
    QCOMPARE(test.log.messages().count("Connected to /dev/ttyUSB0"), 3);
}

void DeviceWorkflowTest::pollsWhileNoDeviceIsThere()
{
    const SimulatedDevice device({});
    WindowUnderTest test;
    auto *button = test.find<QPushButton>("continueBtn");
    button->setEnabled(false);

    test.call("enableContinueBtn");
    QVERIFY(!button->isEnabled());
    QCOMPARE(activeIntervals(test.window), QList<int>({deviceCountPollMs}));
    plugIn(device, "ttyUSB0");

    QTRY_VERIFY_WITH_TIMEOUT(button->isEnabled(), patienceMs());
}

QTEST_MAIN(DeviceWorkflowTest)

#include "tst_device_workflow.moc"
