#include "simulated_device.h"
#include "traffic.h"

#include <QTest>

using Simulator::SimulatedDevice;
using Simulator::Traffic;

namespace {

QByteArray acknowledgement()
{
    return QByteArray::fromHex("02006a");
}

QByteArray acknowledgementWithSequence()
{
    return QByteArray::fromHex("02006ae479");
}

} // namespace

class SimulatorTrafficTest : public QObject
{
    Q_OBJECT

private slots:
    void checkSequenceMatchesPublishedValues_data();
    void checkSequenceMatchesPublishedValues();
    void builtInFramesCarryTheirCheckSequence();
    void recordFramesTheFrame();
    void captureIsReadOrRefusedInOneLine_data();
    void captureIsReadOrRefusedInOneLine();
};

void SimulatorTrafficTest::checkSequenceMatchesPublishedValues_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("sequence");

    QTest::newRow("nothing") << QByteArray() << 0x0000;
    QTest::newRow("check string of CRC catalogues") << QByteArray("123456789") << 0x2189;
    QTest::newRow("acknowledgement of the standard's example") << acknowledgement() << 0x79e4;
}

void SimulatorTrafficTest::checkSequenceMatchesPublishedValues()
{
    QFETCH(QByteArray, frame);
    QTEST(static_cast<int>(Simulator::frameCheckSequence(frame)), "sequence");
}

void SimulatorTrafficTest::builtInFramesCarryTheirCheckSequence()
{
    const Traffic traffic = Traffic::builtIn();
    QVERIFY(traffic.frames().size() >= 16);
    for (const QByteArray &frame : traffic.frames()) {
        QVERIFY(frame.size() >= 5 && frame.size() <= Traffic::largestFrame);
        QCOMPARE(frame.toHex(), Simulator::withFrameCheckSequence(frame.chopped(2)).toHex());
    }
}

void SimulatorTrafficTest::recordFramesTheFrame()
{
    const QByteArray record = SimulatedDevice::frameRecord(acknowledgementWithSequence());
    QCOMPARE(record.left(2).toHex(), QByteArray("010d"));
    QCOMPARE(record.mid(10).toHex(), acknowledgementWithSequence().toHex() + "04");
}

void SimulatorTrafficTest::captureIsReadOrRefusedInOneLine_data()
{
    QTest::addColumn<QVector<QByteArray>>("frames");
    QTest::addColumn<QString>("reason");

    const QByteArray frame = QByteArray::fromHex("418801ffff0000abcd");
    const QByteArray withSequence = frame + QByteArray::fromHex("db8c");
    const auto row = [](const char *file, const QVector<QByteArray> &frames,
                        const char *reason = "") { QTest::newRow(file) << frames << reason; };
    row(".", {}, "cannot be read: Is a directory");
    row("missing", {}, "cannot be read: No such");
    row("empty", {}, "no pcap or pcapng capture");
    row("pcap-big-endian", {frame});
    row("pcap-cut-at-capture", {}, "frame 1 was cut at capture time");
    row("pcap-cut-in-frame", {}, "is damaged");
    row("pcap-cut-in-header", {}, "is damaged");
    row("pcap-empty-frame", {""});
    row("pcap-ethernet", {}, "link type is EN10MB (1)");
    row("pcap-frame-too-long", {}, "frame 1 is longer than 127 bytes");
    row("pcap-frame-too-long-with-sequence", {}, "frame 1 is longer than 127 bytes");
    row("pcap-future-version", {}, "no pcap or pcapng capture");
    row("pcap-larger-than-snapshot", {}, "frame 1 was cut at capture time");
    row("pcap-longest-frame", {frame.repeated(14) + QByteArray(1, '\0')});
    row("pcap-modified", {frame});
    row("pcap-nanoseconds", {frame});
    row("pcap-second-frame-cut", {}, "frame 2 was cut at capture time");
    row("pcap-with-sequence", {frame, frame + "\1\2"});
    row("pcap-without-frames", {}, "holds no frames");
    row("pcap-without-sequence", {withSequence});
    row("pcapng-big-endian", {frame});
    row("pcapng-cut-at-capture", {}, "frame 1 was cut at capture time");
    row("pcapng-cut-in-block", {}, "is damaged");
    row("pcapng-enhanced", {frame, frame});
    row("pcapng-interfaces-differ", {}, "is damaged");
    row("pcapng-lengths-differ", {}, "is damaged");
    row("pcapng-obsolete", {frame});
    row("pcapng-resolution", {frame});
    row("pcapng-resolution-twice", {}, "no pcap or pcapng capture");
    row("pcapng-simple", {frame});
    row("pcapng-two-interfaces", {frame});
    row("pcapng-two-sections", {frame, frame});
    row("pcapng-unknown-block", {frame});
    row("pcapng-unknown-interface", {}, "is damaged");
    row("pcapng-without-interface", {}, "no pcap or pcapng capture");
    row("pcapng-without-sequence", {withSequence});
    row("text", {}, "no pcap or pcapng capture");
}

void SimulatorTrafficTest::captureIsReadOrRefusedInOneLine()
{
    QFETCH(QVector<QByteArray>, frames);
    QFETCH(QString, reason);
    const QString path = CORPUS_FOLDER "/capture_reader/" + QString(QTest::currentDataTag());
    QString error;

    const auto traffic = Traffic::fromPcap(path, &error);

    QCOMPARE(traffic.has_value(), reason.isEmpty());
    QCOMPARE(traffic ? traffic->frames() : frames, frames);
    QVERIFY2(error.startsWith(reason.isEmpty() ? QString() : path + ": "), qPrintable(error));
    QVERIFY2(error.contains(reason) && !error.contains('\n'), qPrintable(error));
}

QTEST_GUILESS_MAIN(SimulatorTrafficTest)
#include "tst_simulator_traffic.moc"
