#include "capture_file.h"
#include "patience.h"
#include "plugged_device.h"
#include "tshark_capture.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QComboBox>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QtTest>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;
using Simulator::Traffic;

namespace {

constexpr int longestAcknowledgement = 5;

/** Well-formed traffic, then frames of every length that a radio sends. */
QVector<QByteArray> framesOfEveryLength()
{
    QVector<QByteArray> frames = Traffic::builtIn().frames();
    for (int size = longestAcknowledgement; size <= Traffic::largestFrame; ++size) {
        // A data frame between short addresses, filled up with its own length.
        QByteArray frame = QByteArray::fromHex("4188").append(static_cast<char>(size));
        frame += QByteArray::fromHex("621affff0000");
        frame = frame.leftJustified(size - 2, static_cast<char>(size), true);
        frames.append(Simulator::withFrameCheckSequence(frame));
    }
    return frames;
}

} // namespace

class EndToEndTest : public QObject
{
    Q_OBJECT

private slots:
    void everyFrameReachesTheAnalyser_data();
    void everyFrameReachesTheAnalyser();
    void unpluggingMidRecordReturnsToTheStartPage();
    void severalDevicesListInOrder();

private:
    QTemporaryDir m_folder;
    MockedMachine m_machine;
};

void EndToEndTest::everyFrameReachesTheAnalyser_data()
{
    QTest::addColumn<SimulatedDevice::Rate>("rate");
    QTest::newRow("at the line's rate") << SimulatedDevice::Rate::Line;
    QTest::newRow("unthrottled") << SimulatedDevice::Rate::Unthrottled;
}

void EndToEndTest::everyFrameReachesTheAnalyser()
{
    QFETCH(SimulatedDevice::Rate, rate);
    const int channel = 20;
    const int wellFormed = Traffic::builtIn().frames().size();
    const QVector<QByteArray> frames = framesOfEveryLength();
    const QString capture = m_folder.filePath("frames.pcap");
    writeCapture(capture, frames);
    QString error;
    const std::optional<Traffic> traffic = Traffic::fromPcap(capture, &error);
    QVERIFY2(traffic, qPrintable(error));
    SimulatedDevice::Settings settings;
    settings.channel = channel;
    settings.rate = rate;
    settings.repeat = SimulatedDevice::Repeat::Once;
    settings.traffic = *traffic;
    TsharkCapture tshark;
    const PluggedDevice device(&m_machine, settings);
    const WindowUnderTest test;

    test.connectToDevice();
    test.startCapture(device);

    QCOMPARE(tshark.await(frames.size()), frames.size());
    const QVector<TsharkCapture::Packet> &packets = tshark.packets();
    const quint32 first = packets.first().sequenceNumber;
    for (int i = 0; i < frames.size(); ++i) {
        const TsharkCapture::Packet &packet = packets.at(i);
        QCOMPARE(packet.sequenceNumber, first + static_cast<quint32>(i));
        QVERIFY(!packet.malformed || i >= wellFormed);
        QVERIFY(!packet.hasBadCheckSequence);
        QCOMPARE(packet.missing, 0);
        if (frames.at(i).size() <= longestAcknowledgement) {
            QCOMPARE(packet.payload.size(), ZepReceiver::acknowledgementSize);
            QVERIFY2(packet.protocols.endsWith(":udp:fennix:zep"), qPrintable(packet.protocols));
            continue;
        }
        QCOMPARE(packet.payload.mid(ZepReceiver::dataHeaderSize), frames.at(i));
        QCOMPARE(packet.channel, channel);
        QVERIFY2(packet.protocols.contains(":udp:fennix:zep:wpan"), qPrintable(packet.protocols));
    }
    QCOMPARE(test.packetCount(), frames.size());
}

void EndToEndTest::unpluggingMidRecordReturnsToTheStartPage()
{
    TsharkCapture tshark;
    PluggedDevice device(&m_machine, silentDevice());
    const WindowUnderTest test;
    test.click("devConnectButton");
    test.find<QLineEdit>("remoteIpInput")->clear();
    test.click("OnBtn");
    const QByteArray frame = Traffic::builtIn().frames().last();
    const QByteArray record = SimulatedDevice::frameRecord(frame);
    device.send("HAN: 11\n" + record + record.left(record.size() / 2));
    QCOMPARE(tshark.await(1), 1);

    device.pull();

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNotConnected"), patienceMs());
    QCOMPARE(test.find<QComboBox>("usbComboBox")->count(), 0);
    QCOMPARE(test.log.messages().count("Disconnected"), 1);
    QCOMPARE(tshark.packets().size(), 1);

    // Plugged in again, it works as before; the half record is forgotten.
    const PluggedDevice again(&m_machine);
    test.click("refreshComButton");
    test.connectToDevice();
    test.startCapture(again);
    QVERIFY(tshark.await(3) >= 3);
}

void EndToEndTest::severalDevicesListInOrder()
{
    const SimulatedDevice board({});
    m_machine.plugIn(MockedMachine::Kind::Vostrel, "ttyAMA0", board.portPath());
    const PluggedDevice second(&m_machine, {}, "ttyUSB1");
    const PluggedDevice first(&m_machine);
    const WindowUnderTest test;
    const auto *box = test.find<QComboBox>("usbComboBox");

    QCOMPARE(box->count(), 3);
    const std::vector<QString> expected = {"/dev/ttyAMA0", "/dev/ttyUSB0", "/dev/ttyUSB1"};
    QCOMPARE(MainWindow::availableComPorts, expected);
    QCOMPARE(box->itemText(0), QString("Vostrel"));
    QCOMPARE(box->itemText(1), QString("Mirzel"));
    QCOMPARE(box->itemText(2), QString("Mirzel"));
}

QTEST_MAIN(EndToEndTest)

#include "tst_end_to_end.moc"
