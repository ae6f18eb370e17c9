#include "message_capture.h"
#include "no_traces.h"
#include "parser_model.h"
#include "patience.h"
#include "plugged_device.h"
#include "soak.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QComboBox>
#include <QRandomGenerator>
#include <QtTest>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;
using Simulator::Traffic;
using Rate = SimulatedDevice::Rate;

namespace {

/** A frame that a parser never takes for the start or the end of anything. */
QByteArray plainFrame()
{
    return QByteArray(20, 'u');
}

/** A device that hears no frames but these. */
SimulatedDevice::Settings deviceThatHears(const QVector<QByteArray> &frames, Rate rate)
{
    SimulatedDevice::Settings settings;
    settings.rate = rate;
    settings.traffic = Traffic::fromFrames(frames);
    return settings;
}

QByteArray noise(int size)
{
    QRandomGenerator random(Soak::seed());
    QByteArray bytes;
    while (bytes.size() < size)
        bytes.append(static_cast<char>(random.bounded(256)));
    return bytes;
}

/** Returns what the model of the parser sends of @p stream, numbered like @p first. */
QVector<QByteArray> expectedDatagrams(const QByteArray &stream, const QByteArray &first)
{
    ParserModel model(ZepReceiver::sequenceNumber(first));
    model.open("/dev/ttyUSB0");
    model.read(stream);
    QVector<QByteArray> datagrams;
    for (const LinkEvent &event : model.events()) {
        if (event.kind == LinkEvent::Datagram)
            datagrams.append(event.content);
    }
    return datagrams;
}

QByteArray withoutTime(QByteArray datagram)
{
    return ZepReceiver::isData(datagram) ? datagram.replace(9, 8, "") : datagram;
}

/** Sends @p bytes and waits until the program has read some of them. */
void sendAndAwait(const QByteArray &bytes, SimulatedDevice *device)
{
    const MessageCapture messages;
    device->send(bytes);
    QTRY_VERIFY_WITH_TIMEOUT(!messages.messages().isEmpty(), patienceMs());
}

/** A capture that runs: the window, its only device, and who receives. */
class RunningCapture : public WindowUnderTest
{
public:
    explicit RunningCapture(SimulatedDevice *simulated)
        : device(simulated)
        , channelSelect(find<QComboBox>("channelSelect"))
    {
        start();
    }

    void start() const
    {
        connectToDevice();
        startCapture(*device);
        device->clearReceived();
    }

    SimulatedDevice *device;
    QComboBox *channelSelect;
    ZepReceiver receiver;
};

} // namespace

/** The device says what the window does not expect. */
class LineNoiseTest : public QObject
{
    Q_OBJECT

private slots:
    void aMinuteOfNoiseIsReadAsItsBytesSay();
    void noiseCanSayWhatADeviceSays_data();
    void noiseCanSayWhatADeviceSays();
    void aRestartOfTheFirmwareResumes_data();
    void aRestartOfTheFirmwareResumes();
    void aRestartThatBreaksThePromptNeedsTheUser();
    void aRecordWithoutEndHidesWhatFollows_data();
    void aRecordWithoutEndHidesWhatFollows();

private:
    MockedMachine m_machine;
};

void LineNoiseTest::aMinuteOfNoiseIsReadAsItsBytesSay()
{
    constexpr int bytesPerMinute = 60 * 3840;
    // A record that the noise has begun swallows less than ten of these.
    const QByteArray records = SimulatedDevice::frameRecord(plainFrame()).repeated(12);
    const QByteArray stream = noise(bytesPerMinute) + records;
    PluggedDevice device(&m_machine, deviceThatHears({}, Rate::Unthrottled));
    const RunningCapture test(&device);
    const NoTraces noTraces;

    device.send(stream + "HAN: 20\n");

    QTRY_COMPARE_WITH_TIMEOUT(test.channelSelect->currentText(), QString("20"), patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(test.receiver.count(), test.packetCount(), patienceMs());
    const QVector<QByteArray> expected =
        expectedDatagrams(stream, test.receiver.datagrams().first());
    QCOMPARE(test.receiver.count(), expected.size());
    for (int i = 0; i < expected.size(); ++i)
        QCOMPARE(withoutTime(test.receiver.datagrams().at(i)), withoutTime(expected.at(i)));
    // Chance has made records of it, and the device's own come through again.
    QVERIFY(expected.size() > 100);
    QCOMPARE(test.receiver.frames().mid(test.receiver.frames().size() - 2),
             QVector<QByteArray>(2, plainFrame()));
    QCOMPARE(test.page(), QByteArray("pageConnected"));
    QCOMPARE(test.log.messages().size(), 3);
}

void LineNoiseTest::noiseCanSayWhatADeviceSays_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("sent");
    QTest::addColumn<QString>("channel");
    QTest::addColumn<QByteArray>("page");
    QTest::addColumn<QByteArray>("commands");
    const QByteArray connected = "pageConnected";
    QTest::newRow("a record") << SimulatedDevice::frameRecord(plainFrame()) << 1 << "11"
                              << connected << QByteArray();
    QTest::newRow("another channel") << QByteArray("HAN: 20\n") << 0 << "20" << connected
                                     << QByteArray("\nchan 20\n\nsniff\n\nidle\n");
    QTest::newRow("no channel") << QByteArray("HAN: z9\n") << 0 << "11" << connected
                                << QByteArray();
    QTest::newRow("the prompt") << QByteArray("[vostrel]") << 0 << "11" << connected
                                << QByteArray("\nidle\n\nsniff\n");
    QTest::newRow("a failure") << QByteArray("fail!") << 0 << "11" << QByteArray("pageNoFirmware")
                               << QByteArray("\nidle\n");
}

void LineNoiseTest::noiseCanSayWhatADeviceSays()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, sent);
    QFETCH(QString, channel);
    QFETCH(QByteArray, page);
    QFETCH(QByteArray, commands);
    PluggedDevice device(&m_machine, deviceThatHears({}, Rate::Unthrottled));
    const RunningCapture test(&device);
    const NoTraces noTraces;

    // The record behind it tells that it has been read.
    device.send(bytes);
    if (page == "pageConnected") {
        device.send(SimulatedDevice::frameRecord(plainFrame()));
        QTRY_COMPARE_WITH_TIMEOUT(test.packetCount(), sent + 1, patienceMs());
    }

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), page, patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(device.received(), commands, patienceMs());
    QCOMPARE(test.channelSelect->currentText(), channel);
    // The window takes the capture for running, whatever the device has been told.
    QCOMPARE(test.enabledControls(), QList<QByteArray>({"OffBtn"}));
}

void LineNoiseTest::aRestartOfTheFirmwareResumes_data()
{
    QTest::addColumn<int>("restarts");
    QTest::newRow("once") << 1;
    QTest::newRow("twice within a second") << 2;
}

void LineNoiseTest::aRestartOfTheFirmwareResumes()
{
    QFETCH(int, restarts);
    PluggedDevice device(&m_machine, deviceThatHears({plainFrame()}, Rate::Line));
    const RunningCapture test(&device);
    const NoTraces noTraces;
    QTRY_VERIFY_WITH_TIMEOUT(test.packetCount() >= 3, patienceMs());

    for (int i = 0; i < restarts; ++i)
        device.restart();

    QTRY_COMPARE_WITH_TIMEOUT(test.log.messages().count("[warning] watchdog"), restarts,
                              patienceMs());
    const int before = test.packetCount();
    QTRY_VERIFY_WITH_TIMEOUT(test.packetCount() >= before + 3, patienceMs());
    test.stopCapture(device);
    // The half records are lost, and nothing else.
    QTRY_COMPARE_WITH_TIMEOUT(test.receiver.count(), device.framesSent(), patienceMs());
    QCOMPARE(test.receiver.frames().count(plainFrame()), test.receiver.count());
}

void LineNoiseTest::aRestartThatBreaksThePromptNeedsTheUser()
{
    PluggedDevice device(&m_machine, deviceThatHears({plainFrame()}, Rate::Line));
    const RunningCapture test(&device);
    QTRY_VERIFY_WITH_TIMEOUT(test.packetCount() >= 3, patienceMs());
    device.clearReceived();

    // Restarted in a record, and again while it prints the prompt.
    device.setFirmware(SimulatedDevice::Firmware::Sniffer);
    const int before = device.framesSent();
    QTRY_COMPARE_WITH_TIMEOUT(test.packetCount(), before, patienceMs());
    sendAndAwait(SimulatedDevice::frameRecord(plainFrame()).left(12) + "[vos" + "[vostrel]",
                 &device);

    // The device is idle, which the window does not know: the user starts it again.
    QCOMPARE(test.enabledControls(), QList<QByteArray>({"OffBtn"}));
    QCOMPARE(device.received(), QByteArray());
    QCOMPARE(test.packetCount(), before);
    const NoTraces noTraces;
    test.click("OffBtn");
    test.click("OnBtn");
    QTRY_VERIFY_WITH_TIMEOUT(test.packetCount() >= before + 3, patienceMs());
    test.stopCapture(device);
    QCOMPARE(test.log.messages().count("[warning] watchdog"), 0);
    QCOMPARE(device.received(), QByteArray("\nidle\n\nsniff\n\nidle\n"));
    // The first frame afterwards ends the half record, which goes out instead of it.
    QTRY_COMPARE_WITH_TIMEOUT(test.receiver.count(), device.framesSent(), patienceMs());
    QCOMPARE(test.receiver.frames().count(plainFrame()), test.receiver.count() - 1);
}

void LineNoiseTest::aRecordWithoutEndHidesWhatFollows_data()
{
    const QByteArray endless(20, 'e');
    QTest::addColumn<QByteArray>("recovery");
    QTest::addColumn<bool>("reconnects");
    QTest::addColumn<QVector<QByteArray>>("frames");
    QTest::newRow("until an end byte")
        << QByteArray("\x04") << false << QVector<QByteArray> {endless, plainFrame()};
    QTest::newRow("until another record has ended")
        << SimulatedDevice::frameRecord(QByteArray(20, 'n')) << false
        << QVector<QByteArray> {endless, plainFrame()};
    QTest::newRow("until a restart")
        << QByteArray("[vostrel]") << false << QVector<QByteArray> {plainFrame()};
    QTest::newRow("until a reconnect")
        << QByteArray() << true << QVector<QByteArray> {plainFrame()};
}

void LineNoiseTest::aRecordWithoutEndHidesWhatFollows()
{
    QFETCH(QByteArray, recovery);
    QFETCH(bool, reconnects);
    QFETCH(QVector<QByteArray>, frames);
    PluggedDevice device(&m_machine, deviceThatHears({}, Rate::Unthrottled));
    const RunningCapture test(&device);
    QByteArray endless = SimulatedDevice::frameRecord(QByteArray(20, 'e'));
    endless.chop(1);
    sendAndAwait(endless + "HAN: 20\nfail!" + QByteArray(1000, 'e'), &device);

    if (reconnects) {
        test.click("devDisconnectButton");
        QTRY_VERIFY_WITH_TIMEOUT(!device.isSniffing(), patienceMs());
        test.start();
    }
    const NoTraces noTraces;
    device.send(recovery + SimulatedDevice::frameRecord(plainFrame()));

    QTRY_COMPARE_WITH_TIMEOUT(test.receiver.frames(), frames, patienceMs());
    QCOMPARE(test.packetCount(), frames.size());
    QCOMPARE(test.channelSelect->currentText(), QString("11"));
    QCOMPARE(test.page(), QByteArray("pageConnected"));
}

QTEST_MAIN(LineNoiseTest)

#include "tst_line_noise.moc"
