#include "simulated_device.h"
#include "traffic.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

using Simulator::SimulatedDevice;
using Simulator::Traffic;

namespace {

constexpr int withSequence = 195;
constexpr int withoutSequence = 230;
constexpr int ethernet = 1;

QByteArray acknowledgement()
{
    return QByteArray::fromHex("02006a");
}

QByteArray acknowledgementWithSequence()
{
    return QByteArray::fromHex("02006ae479");
}

QByteArray littleEndian(quint32 value, int bytes)
{
    const quint32 swapped = qToLittleEndian(value);
    return QByteArray(reinterpret_cast<const char *>(&swapped), bytes);
}

/** A packet of a pcap file that was longer on the air than in the file by cutBytes. */
QByteArray packet(const QByteArray &frame, quint32 cutBytes = 0)
{
    const auto size = static_cast<quint32>(frame.size());
    return QByteArray(8, '\0') + littleEndian(size, 4) + littleEndian(size + cutBytes, 4) + frame;
}

QByteArray pcap(int linkType, const QByteArray &packets)
{
    return QByteArray::fromHex("d4c3b2a1 0200 0400 00000000 00000000 ffff0000")
        + littleEndian(static_cast<quint32>(linkType), 4) + packets;
}

/** A pcapng file of link type 195 with the one frame 02 00 6a e4 79. */
QByteArray pcapng()
{
    return QByteArray::fromHex("0a0d0d0a 1c000000 4d3c2b1a 0100 0000 ffffffffffffffff 1c000000"
                               "01000000 14000000 c300 0000 00000000 14000000"
                               "06000000 28000000 00000000 00000000 00000000 05000000 05000000"
                               "02006ae479000000 28000000");
}

} // namespace

class SimulatorTrafficTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void checkSequenceMatchesPublishedValues_data();
    void checkSequenceMatchesPublishedValues();
    void builtInFramesCarryTheirCheckSequence();
    void recordFramesTheFrame();
    void captureGivesFramesWithCheckSequence_data();
    void captureGivesFramesWithCheckSequence();
    void badCaptureIsRefusedInOneLine_data();
    void badCaptureIsRefusedInOneLine();
    void everyFileOfTheCorpusIsReadOrRefused_data();
    void everyFileOfTheCorpusIsReadOrRefused();

private:
    QString write(const QString &name, const QByteArray &content);

    QTemporaryDir m_folder;
};

void SimulatorTrafficTest::initTestCase()
{
    QVERIFY(m_folder.isValid());
}

QString SimulatorTrafficTest::write(const QString &name, const QByteArray &content)
{
    QFile file(m_folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("Cannot write a file for the test");
    return file.fileName();
}

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

void SimulatorTrafficTest::captureGivesFramesWithCheckSequence_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("pcap with check sequences")
        << pcap(withSequence, packet(acknowledgementWithSequence()));
    QTest::newRow("pcap without check sequences")
        << pcap(withoutSequence, packet(acknowledgement()));
    QTest::newRow("pcapng") << pcapng();
}

void SimulatorTrafficTest::captureGivesFramesWithCheckSequence()
{
    QFETCH(QByteArray, content);
    QString error;
    const auto traffic = Traffic::fromPcap(write(QStringLiteral("good"), content), &error);
    QVERIFY2(traffic.has_value(), qPrintable(error));
    QCOMPARE(traffic->frames(), QVector<QByteArray> {acknowledgementWithSequence()});
}

void SimulatorTrafficTest::badCaptureIsRefusedInOneLine_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reason");

    const QByteArray good = packet(acknowledgementWithSequence());
    QTest::newRow("missing") << m_folder.filePath(QStringLiteral("none"))
                             << "cannot be read: No such";
    QTest::newRow("folder") << m_folder.path() << "cannot be read: Is a directory";
    QTest::newRow("empty") << write(QStringLiteral("empty"), "") << "no pcap or pcapng capture";
    QTest::newRow("text") << write(QStringLiteral("text"), QByteArray(99, 'x'))
                          << "no pcap or pcapng capture";
    QTest::newRow("other link type")
        << write(QStringLiteral("ethernet"), pcap(ethernet, good)) << "link type is EN10MB (1)";
    QTest::newRow("no frames") << write(QStringLiteral("frameless"), pcap(withSequence, ""))
                               << "holds no frames";
    QTest::newRow("second frame cut at capture time")
        << write(QStringLiteral("cut"), pcap(withSequence, good + packet("12", 1)))
        << "frame 2 was cut at capture time";
    QTest::newRow("file ends inside a frame")
        << write(QStringLiteral("damaged"), pcap(withSequence, good.chopped(1))) << "is damaged";
    QTest::newRow("too long") << write(QStringLiteral("long"),
                                       pcap(withSequence, packet(QByteArray(128, 'x'))))
                              << "frame 1 is longer than 127 bytes";
    QTest::newRow("too long with its check sequence")
        << write(QStringLiteral("longer"), pcap(withoutSequence, packet(QByteArray(126, 'x'))))
        << "frame 1 is longer than 127 bytes";
}

void SimulatorTrafficTest::badCaptureIsRefusedInOneLine()
{
    QFETCH(QString, path);
    QFETCH(QString, reason);
    QString error;
    QVERIFY(!Traffic::fromPcap(path, &error));
    QVERIFY2(error.startsWith(path + QLatin1String(": ")), qPrintable(error));
    QVERIFY2(error.contains(reason), qPrintable(error));
    QVERIFY(!error.contains(QLatin1Char('\n')));
}

void SimulatorTrafficTest::everyFileOfTheCorpusIsReadOrRefused_data()
{
    QTest::addColumn<int>("frames");
    QTest::addColumn<QString>("reason");

    QTest::newRow("empty") << 0 << "no pcap or pcapng capture";
    QTest::newRow("pcap-big-endian") << 1 << "";
    QTest::newRow("pcap-cut-at-capture") << 0 << "frame 1 was cut at capture time";
    QTest::newRow("pcap-cut-in-frame") << 0 << "is damaged";
    QTest::newRow("pcap-cut-in-header") << 0 << "is damaged";
    QTest::newRow("pcap-empty-frame") << 1 << "";
    QTest::newRow("pcap-ethernet") << 0 << "link type is EN10MB (1)";
    QTest::newRow("pcap-frame-too-long") << 0 << "frame 1 is longer than 127 bytes";
    QTest::newRow("pcap-frame-too-long-with-sequence") << 0 << "frame 1 is longer than 127 bytes";
    QTest::newRow("pcap-future-version") << 0 << "no pcap or pcapng capture";
    QTest::newRow("pcap-larger-than-snapshot") << 0 << "frame 1 was cut at capture time";
    QTest::newRow("pcap-longest-frame") << 1 << "";
    QTest::newRow("pcap-modified") << 1 << "";
    QTest::newRow("pcap-nanoseconds") << 1 << "";
    QTest::newRow("pcap-with-sequence") << 2 << "";
    QTest::newRow("pcap-without-frames") << 0 << "holds no frames";
    QTest::newRow("pcap-without-sequence") << 1 << "";
    QTest::newRow("pcapng-big-endian") << 1 << "";
    QTest::newRow("pcapng-cut-at-capture") << 0 << "frame 1 was cut at capture time";
    QTest::newRow("pcapng-cut-in-block") << 0 << "is damaged";
    QTest::newRow("pcapng-enhanced") << 2 << "";
    QTest::newRow("pcapng-interfaces-differ") << 0 << "is damaged";
    QTest::newRow("pcapng-lengths-differ") << 0 << "is damaged";
    QTest::newRow("pcapng-obsolete") << 1 << "";
    QTest::newRow("pcapng-resolution") << 1 << "";
    QTest::newRow("pcapng-resolution-twice") << 0 << "no pcap or pcapng capture";
    QTest::newRow("pcapng-simple") << 1 << "";
    QTest::newRow("pcapng-two-interfaces") << 1 << "";
    QTest::newRow("pcapng-two-sections") << 2 << "";
    QTest::newRow("pcapng-unknown-block") << 1 << "";
    QTest::newRow("pcapng-unknown-interface") << 0 << "is damaged";
    QTest::newRow("pcapng-without-interface") << 0 << "no pcap or pcapng capture";
    QTest::newRow("pcapng-without-sequence") << 1 << "";
    QTest::newRow("text") << 0 << "no pcap or pcapng capture";
}

void SimulatorTrafficTest::everyFileOfTheCorpusIsReadOrRefused()
{
    QFETCH(int, frames);
    QFETCH(QString, reason);
    QString error;

    const QDir corpus(QStringLiteral(CORPUS_FOLDER "/capture_reader"));
    const QString path = corpus.filePath(QString::fromLatin1(QTest::currentDataTag()));
    const auto traffic = Traffic::fromPcap(path, &error);

    QCOMPARE(traffic ? traffic->frames().size() : 0, frames);
    QCOMPARE(error.isEmpty(), reason.isEmpty());
    QVERIFY2(error.contains(reason), qPrintable(error));
}

QTEST_GUILESS_MAIN(SimulatorTrafficTest)
#include "tst_simulator_traffic.moc"
