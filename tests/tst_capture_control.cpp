#include "connection.h"
#include "message_capture.h"
#include "mocked_machine.h"
#include "patience.h"
#include "simulated_device.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

namespace {

const QColor white(255, 255, 255);
const QColor lightRed(255, 180, 180);

SimulatedDevice::Settings deviceOnChannel(int channel)
{
    SimulatedDevice::Settings settings;
    settings.channel = channel;
    return settings;
}

} // namespace

/** The window, connected to a device that has reported its channel. */
class ConnectedWindow : public WindowUnderTest
{
public:
    explicit ConnectedWindow(SimulatedDevice *simulated)
        : device(simulated)
        , address(find<QLineEdit>("remoteIpInput"))
        , channelSelect(find<QComboBox>("channelSelect"))
    {
        connectToDevice();
    }

    ~ConnectedWindow() { click("devDisconnectButton"); }

    /** Returns the field's background, which has to be the same in every state. */
    QColor addressColor() const
    {
        const QPalette palette = address->palette();
        const QColor &color = palette.color(QPalette::Active, QPalette::Base);
        const bool same = palette.color(QPalette::Inactive, QPalette::Base) == color
            && palette.color(QPalette::Disabled, QPalette::Base) == color;
        return same && palette.brush(QPalette::Base).style() == Qt::SolidPattern ? color : QColor();
    }

    /** Lets the device report @p text as its channel and waits until the report is read. */
    void report(const QByteArray &text) const
    {
        const MessageCapture messages;
        device->send("HAN: " + text + '\n');
        QTRY_VERIFY_WITH_TIMEOUT(messages.contains("set channel"), patienceMs());
    }

    /** Returns what the device has received, once it ends in @p ending. */
    QByteArray received(const QByteArray &ending) const
    {
        const bool ended =
            QTest::qWaitFor([&] { return device->received().endsWith(ending); }, patienceMs());
        return ended ? device->received() : QByteArray();
    }

    SimulatedDevice *device;
    QLineEdit *address;
    QComboBox *channelSelect;
};

/** Notes the widgets that are enabled, disabled or coloured, in order. */
class ChangeOrder : public QObject
{
public:
    bool eventFilter(QObject *widget, QEvent *event) override
    {
        if (event->type() == QEvent::EnabledChange || event->type() == QEvent::PaletteChange)
            names.append(widget->objectName());
        return false;
    }

    QStringList names;
};

class CaptureControlTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void startingSendsTheSniffCommand();
    void stoppingSendsTheIdleCommand();
    void startSetsTheDestination_data();
    void startSetsTheDestination();
    void stoppingTurnsTheButtonsBeforeItJudgesTheAddress();
    void stoppingKeepsTheDestination();
    void stoppingLeavesARedFieldRed();
    void stoppingWhitensACorrectedField();
    void aMalformedAddressStillStartsTheCapture();
    void changingTheChannelSendsThreeCommands();
    void aChannelThatIsNoNumberIsZero();
    void theReportedChannelIsNotSentBack();
    void anotherReportedChannelIsSentBack();
    void aReportOutsideTheListChangesNothing();
    void aReportIsShownWhileCapturing();
    void countsTheForwardedFrames();
    void commandsByNumber_data();
    void commandsByNumber();

private:
    std::unique_ptr<MockedMachine> m_machine;
    std::unique_ptr<SimulatedDevice> m_device;
};

void CaptureControlTest::init()
{
    m_machine = std::make_unique<MockedMachine>();
    m_device = std::make_unique<SimulatedDevice>(SimulatedDevice::Settings());
    m_machine->plugIn(MockedMachine::Kind::Mirzel, "ttyUSB0", m_device->portPath());
}

void CaptureControlTest::cleanup()
{
    m_machine.reset();
    m_device.reset();
}

void CaptureControlTest::startingSendsTheSniffCommand()
{
    const ConnectedWindow test(m_device.get());
    QTRY_VERIFY_WITH_TIMEOUT(m_device->received().endsWith("\nparms\n"), patienceMs());
    m_device->clearReceived();

    test.click("OnBtn");

    QVERIFY(!test.channelSelect->isEnabled());
    QVERIFY(!test.find<QPushButton>("OnBtn")->isEnabled());
    QVERIFY(test.find<QPushButton>("OffBtn")->isEnabled());
    QTRY_COMPARE_WITH_TIMEOUT(m_device->received(), QByteArray("\nsniff\n"), patienceMs());
}

void CaptureControlTest::stoppingSendsTheIdleCommand()
{
    const ConnectedWindow test(m_device.get());
    test.click("OnBtn");
    QTRY_VERIFY_WITH_TIMEOUT(m_device->isSniffing(), patienceMs());
    m_device->clearReceived();

    test.click("OffBtn");

    QVERIFY(test.channelSelect->isEnabled());
    QVERIFY(test.find<QPushButton>("OnBtn")->isEnabled());
    QVERIFY(!test.find<QPushButton>("OffBtn")->isEnabled());
    QTRY_COMPARE_WITH_TIMEOUT(m_device->received(), QByteArray("\nidle\n"), patienceMs());
}

void CaptureControlTest::startSetsTheDestination_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QColor>("color");
    QTest::newRow("empty") << ""
                           << "127.0.0.1" << white;
    QTest::newRow("an address") << "127.0.0.3"
                                << "127.0.0.3" << white;
    QTest::newRow("numbers too large") << "999.1.1.1"
                                       << "" << white;
    QTest::newRow("four digits") << "1000.1.1.1"
                                 << "" << lightRed;
    QTest::newRow("a group too many") << "127.0.0.3.1"
                                      << "" << lightRed;
    QTest::newRow("trailing blank") << "127.0.0.3 "
                                    << "127.0.0.3" << lightRed;
    QTest::newRow("IPv6") << "fe80::1"
                          << "fe80::1" << lightRed;
    QTest::newRow("a name") << "localhost"
                            << "" << lightRed;
}

void CaptureControlTest::startSetsTheDestination()
{
    QFETCH(QString, text);
    QFETCH(QString, host);
    QFETCH(QColor, color);
    const ConnectedWindow test(m_device.get());
    test.address->clear();
    QTest::keyClicks(test.address, text);
    Connection::host = QHostAddress("192.0.2.1");

    test.click("OnBtn");

    QCOMPARE(Connection::host.toString(), host);
    QCOMPARE(test.addressColor(), color);
    test.click("OffBtn");
}

void CaptureControlTest::stoppingTurnsTheButtonsBeforeItJudgesTheAddress()
{
    const ConnectedWindow test(m_device.get());
    test.address->setText("nonsense");
    test.click("OnBtn");
    test.address->setText("127.0.0.3");
    ChangeOrder order;
    for (const char *name : {"channelSelect", "OnBtn", "OffBtn", "remoteIpInput"})
        test.find<QWidget>(name)->installEventFilter(&order);

    test.click("OffBtn");

    QCOMPARE(order.names, QStringList({"channelSelect", "OnBtn", "OffBtn", "remoteIpInput"}));
}

void CaptureControlTest::stoppingKeepsTheDestination()
{
    const ConnectedWindow test(m_device.get());
    test.address->setText("127.0.0.3");
    test.click("OnBtn");
    test.address->setText("127.0.0.4");

    test.click("OffBtn");

    QCOMPARE(Connection::host, QHostAddress("127.0.0.3"));
}

void CaptureControlTest::stoppingLeavesARedFieldRed()
{
    const ConnectedWindow test(m_device.get());
    test.address->setText("nonsense");
    test.click("OnBtn");
    QCOMPARE(test.addressColor(), lightRed);

    test.click("OffBtn");
    QCOMPARE(test.addressColor(), lightRed);

    test.address->setText("127.0.0.3");
    test.click("OnBtn");
    QCOMPARE(test.addressColor(), white);
}

void CaptureControlTest::stoppingWhitensACorrectedField()
{
    const ConnectedWindow test(m_device.get());
    test.address->setText("nonsense");
    test.click("OnBtn");
    test.address->setText("127.0.0.3");

    test.click("OffBtn");
    QCOMPARE(test.addressColor(), white);

    // Stopping never marks a text as refused.
    test.click("OnBtn");
    test.address->setText("nonsense");
    test.click("OffBtn");
    QCOMPARE(test.addressColor(), white);
}

void CaptureControlTest::aMalformedAddressStillStartsTheCapture()
{
    const ConnectedWindow test(m_device.get());
    test.address->setText("nonsense");

    test.click("OnBtn");

    QTRY_VERIFY_WITH_TIMEOUT(m_device->isSniffing(), patienceMs());
    QVERIFY(Connection::host.isNull());
}

void CaptureControlTest::changingTheChannelSendsThreeCommands()
{
    const ConnectedWindow test(m_device.get());
    QTRY_VERIFY_WITH_TIMEOUT(m_device->received().endsWith("\nparms\n"), patienceMs());
    m_device->clearReceived();

    test.channelSelect->setCurrentText("15");

    QCOMPARE(test.received("\nidle\n"), QByteArray("\nchan 15\n\nsniff\n\nidle\n"));
    QTRY_COMPARE_WITH_TIMEOUT(m_device->channel(), 15, patienceMs());
    QVERIFY(!m_device->isSniffing());
}

void CaptureControlTest::aChannelThatIsNoNumberIsZero()
{
    ConnectedWindow test(m_device.get());
    QTRY_VERIFY_WITH_TIMEOUT(m_device->received().endsWith("\nparms\n"), patienceMs());
    m_device->clearReceived();

    QVERIFY(QMetaObject::invokeMethod(&test.window, "changeChannel",
                                      Q_ARG(QString, QString("channel"))));

    QCOMPARE(test.received("\nidle\n"), QByteArray("\nchan 0\n\nsniff\n\nidle\n"));
}

void CaptureControlTest::theReportedChannelIsNotSentBack()
{
    const ConnectedWindow test(m_device.get());

    test.report("11");

    test.click("OnBtn");
    QCOMPARE(test.received("\nsniff\n"), QByteArray("\nidle\n\nparms\n\nsniff\n"));
    QCOMPARE(test.channelSelect->currentText(), QString("11"));
}

void CaptureControlTest::anotherReportedChannelIsSentBack()
{
    SimulatedDevice device(deviceOnChannel(20));
    m_machine->plugIn(MockedMachine::Kind::Mirzel, "ttyUSB0", device.portPath());
    const ConnectedWindow test(&device);

    QCOMPARE(test.channelSelect->currentText(), QString("20"));
    QCOMPARE(test.received("\nsniff\n\nidle\n"),
             QByteArray("\nidle\n\nparms\n\nchan 20\n\nsniff\n\nidle\n"));
}

void CaptureControlTest::aReportOutsideTheListChangesNothing()
{
    const ConnectedWindow test(m_device.get());

    test.report("27");
    test.report("x1");

    test.click("OnBtn");
    QCOMPARE(test.received("\nsniff\n"), QByteArray("\nidle\n\nparms\n\nsniff\n"));
    QCOMPARE(test.channelSelect->currentText(), QString("11"));
}

void CaptureControlTest::aReportIsShownWhileCapturing()
{
    const ConnectedWindow test(m_device.get());
    test.click("OnBtn");
    QTRY_VERIFY_WITH_TIMEOUT(m_device->isSniffing(), patienceMs());
    m_device->clearReceived();

    test.report("21");

    QCOMPARE(test.channelSelect->currentText(), QString("21"));
    QVERIFY(!test.channelSelect->isEnabled());
    QCOMPARE(test.received("\nidle\n"), QByteArray("\nchan 21\n\nsniff\n\nidle\n"));
}

void CaptureControlTest::countsTheForwardedFrames()
{
    const ZepReceiver receiver;
    const ConnectedWindow test(m_device.get());
    test.address->clear();
    const auto *label = test.find<QLabel>("label_packetCount");

    test.click("OnBtn");
    QTRY_VERIFY_WITH_TIMEOUT(receiver.count() >= 3, patienceMs());
    test.click("OffBtn");

    QTRY_VERIFY_WITH_TIMEOUT(!m_device->isSniffing(), patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(label->text(), QString::number(m_device->framesSent()), patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), m_device->framesSent(), patienceMs());
}

void CaptureControlTest::commandsByNumber_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("1") << 1 << QByteArray("\nsniff\n");
    QTest::newRow("0") << 0 << QByteArray("\nidle\n");
    QTest::newRow("2") << 2 << QByteArray("\nidle\n");
    QTest::newRow("-1") << -1 << QByteArray("\nidle\n");
}

void CaptureControlTest::commandsByNumber()
{
    QFETCH(int, number);
    QFETCH(QByteArray, command);
    ConnectedWindow test(m_device.get());
    QTRY_VERIFY_WITH_TIMEOUT(m_device->received().endsWith("\nparms\n"), patienceMs());
    m_device->clearReceived();

    QVERIFY(QMetaObject::invokeMethod(&test.window, "startStopSniffing", Q_ARG(int, number)));

    QTRY_COMPARE_WITH_TIMEOUT(m_device->received(), command, patienceMs());
    QVERIFY(test.find<QPushButton>("OnBtn")->isEnabled());
}

QTEST_MAIN(CaptureControlTest)

#include "tst_capture_control.moc"
