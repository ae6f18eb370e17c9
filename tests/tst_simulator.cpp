#include "pseudo_terminal.h"
#include "simulated_device.h"
#include "traffic.h"

#include <QElapsedTimer>
#include <QSerialPort>
#include <QSignalSpy>
#include <QTest>

#include <utility>

#include <unistd.h>

using Simulator::PseudoTerminal;
using Simulator::SimulatedDevice;
using Simulator::Traffic;
using Firmware = SimulatedDevice::Firmware;
using Rate = SimulatedDevice::Rate;
using Settings = SimulatedDevice::Settings;

namespace {

/** The host's end of a line: holds the port open and keeps what arrives. */
class Host : public QSerialPort
{
public:
    explicit Host(const QString &portPath)
        : QSerialPort(portPath)
    {
        open(ReadWrite);
    }

    /** Reads nothing from the port, or all of it. */
    void setReading(bool reading) { setReadBufferSize(reading ? 0 : 1); }

    bool says(const QByteArray &bytes) { return write(bytes) == bytes.size() && flush(); }

    QByteArray received() { return peek(bytesAvailable()); }
};

/** A device whose port a host holds open. */
struct Line
{
    explicit Line(const Settings &settings = Settings())
        : device(settings)
    { }

    /** Lets the device say a dot, and returns what the host has received when it comes. */
    QByteArray upToADot()
    {
        device.send(".");
        const bool came = QTest::qWaitFor([this] { return host.received().endsWith('.'); });
        return came ? host.received() : QByteArray("no dot");
    }

    SimulatedDevice device;
    Host host {device.portPath()};
    QSignalSpy commands {&device, &SimulatedDevice::commandReceived};
    QSignalSpy finished {&device, &SimulatedDevice::replayFinished};
};

Settings unthrottled()
{
    Settings settings;
    settings.rate = Rate::Unthrottled;
    return settings;
}

/** Sends @p frames once and as fast as they are read. */
Settings onceUnthrottled(const QVector<QByteArray> &frames)
{
    Settings settings = unthrottled();
    settings.repeat = SimulatedDevice::Repeat::Once;
    settings.traffic = Traffic::fromFrames(frames);
    return settings;
}

QByteArray recordsOf(const Traffic &traffic)
{
    QByteArray records;
    for (const QByteArray &frame : traffic.frames())
        records += SimulatedDevice::frameRecord(frame);
    return records;
}

/** What follows the last whole record. */
QByteArray afterWholeRecords(const QByteArray &stream)
{
    int begin = 0;
    while (begin + 1 < stream.size() && stream[begin] == '\x01') {
        const int end = begin + 2 + static_cast<quint8>(stream[begin + 1]);
        if (end >= stream.size() || stream[end] != '\x04')
            break;
        begin = end + 1;
    }
    return stream.mid(begin);
}

} // namespace

class SimulatorTest : public QObject
{
    Q_OBJECT

private slots:
    void terminalKnowsWhetherItIsHeldOpen();
    void terminalForgetsWhatWasNotRead();

    void firmwareAnswersAndSniffs_data();
    void firmwareAnswersAndSniffs();
    void commandsAreExecuted_data();
    void commandsAreExecuted();
    void framesComeInOrderAndNoFasterThanAsked_data();
    void framesComeInOrderAndNoFasterThanAsked();
    void intervalDoesNotDelayTheNextStart();
    void hostThatReadsLateLosesNothing();
    void longMessageArrivesWhole();
    void idleEndsAtARecordBoundary();
    void deviceWorksAgainAfterReopen();
    void whatIsSaidToNobodyIsLost();
    void restartBreaksARecordOffAndEndsSniffing();
    void noiseStartsNothingForAParser();
    void hangUpEndsTheHostsLine();
};

void SimulatorTest::terminalKnowsWhetherItIsHeldOpen()
{
    const PseudoTerminal terminal;
    QVERIFY(!terminal.isHeldOpen());
    {
        const Host host(terminal.portPath());
        QVERIFY(host.isOpen());
        QVERIFY(terminal.isHeldOpen());
    }
    QVERIFY(!terminal.isHeldOpen());
}

void SimulatorTest::terminalForgetsWhatWasNotRead()
{
    PseudoTerminal terminal;
    {
        Host host(terminal.portPath());
        host.setReading(false);
        QCOMPARE(::write(terminal.deviceEnd(), "old", 3), ssize_t(3));
    }
    terminal.discardUnread();
    Host host(terminal.portPath());
    QCOMPARE(::write(terminal.deviceEnd(), "new", 3), ssize_t(3));
    QTRY_COMPARE(host.received(), QByteArray("new"));
}

void SimulatorTest::firmwareAnswersAndSniffs_data()
{
    QTest::addColumn<Firmware>("firmware");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("sniffs");

    QTest::newRow("sniffer") << Firmware::Sniffer << QByteArray("\nHAN: 15\n") << true;
    QTest::newRow("silent") << Firmware::Silent << QByteArray() << false;
    QTest::newRow("failing") << Firmware::Failing << QByteArray("fail!") << false;
}

void SimulatorTest::firmwareAnswersAndSniffs()
{
    QFETCH(Firmware, firmware);
    QFETCH(QByteArray, answer);
    QFETCH(bool, sniffs);
    Settings settings = onceUnthrottled({"frame"});
    settings.channel = 15;
    Line line(settings);
    line.device.setFirmware(firmware);

    QVERIFY(line.host.says("\nidle\n\nparms\n\nsniff\n"));
    QTRY_COMPARE(line.commands.size(), 3);
    QCOMPARE(line.device.isSniffing(), sniffs);
    QCOMPARE(line.upToADot(), answer + (sniffs ? recordsOf(settings.traffic) : "") + '.');
    QCOMPARE(line.device.received(), QByteArray("\nidle\n\nparms\n\nsniff\n"));
}

void SimulatorTest::commandsAreExecuted_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<int>("channel");

    const auto row = [](const char *name, const QByteArray &lines, int channel) {
        QTest::newRow(name) << lines << channel;
    };
    row("lowest channel", "\nchan 11\n", 11);
    row("highest channel", "\nchan 26\n", 26);
    row("channel below", "\nchan 10\n", 20);
    row("channel above", "\nchan 27\n", 20);
    row("no number of a channel", "\nchan x\n", 20);
    row("empty lines, which are no commands", "\n\n\nidle\n", 20);
}

void SimulatorTest::commandsAreExecuted()
{
    QFETCH(QByteArray, lines);
    Settings settings;
    settings.channel = 20;
    Line line(settings);
    const int half = lines.size() / 2;
    QVERIFY(line.host.says(lines.left(half)));
    QTRY_COMPARE(line.device.received().size(), half);
    QCOMPARE(line.commands.size(), 0);
    QVERIFY(line.host.says(lines.mid(half)));
    QTRY_COMPARE(line.commands.size(), 1);
    QCOMPARE(line.commands[0][0].toByteArray(), lines.trimmed());
    QTEST(line.device.channel(), "channel");

    line.device.clearReceived();
    QCOMPARE(line.device.received(), QByteArray());
}

void SimulatorTest::framesComeInOrderAndNoFasterThanAsked_data()
{
    QTest::addColumn<Rate>("rate");
    QTest::addColumn<int>("interval");
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("leastMs");

    const Traffic all = Traffic::builtIn();
    const int count = all.frames().size();
    const int lineMs = recordsOf(all).size() * 10'000 / 38400;
    QTest::newRow("line") << Rate::Line << 0 << count << lineMs;
    QTest::newRow("unthrottled") << Rate::Unthrottled << 0 << count << 0;
    QTest::newRow("line, with an interval") << Rate::Line << 50 << 5 << 4 * 50;
    QTest::newRow("unthrottled, with an interval") << Rate::Unthrottled << 50 << 5 << 4 * 50;
}

void SimulatorTest::framesComeInOrderAndNoFasterThanAsked()
{
    QFETCH(Rate, rate);
    QFETCH(int, interval);
    QFETCH(int, frames);
    QFETCH(int, leastMs);
    Settings settings = onceUnthrottled(Traffic::builtIn().frames().mid(0, frames));
    settings.rate = rate;
    settings.interval = std::chrono::milliseconds(interval);
    Line line(settings);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(line.host.says("\nsniff\n"));
    QTRY_COMPARE(line.finished.size(), 1);
    QVERIFY(clock.elapsed() >= leastMs);
    QCOMPARE(line.device.framesSent(), frames);
    QTRY_COMPARE(line.host.received().toHex(), recordsOf(settings.traffic).toHex());
}

void SimulatorTest::intervalDoesNotDelayTheNextStart()
{
    Settings settings;
    settings.interval = std::chrono::minutes(1);
    Line line(settings);
    for (int start = 1; start <= 2; ++start) {
        QVERIFY(line.host.says("\nsniff\n"));
        QTRY_COMPARE(line.device.framesSent(), start);
        QVERIFY(line.host.says("\nidle\n"));
        QTRY_VERIFY(!line.device.isSniffing());
    }
}

void SimulatorTest::hostThatReadsLateLosesNothing()
{
    // Many times what the terminal's buffer holds.
    QVector<QByteArray> frames;
    for (int number = 0; number < 3000; ++number)
        frames.append(QByteArray::number(number).rightJustified(100, '.'));
    const Settings settings = onceUnthrottled(frames);
    Line line(settings);
    line.host.setReading(false);
    QVERIFY(line.host.says("\nsniff\n"));
    QTRY_VERIFY(line.device.framesSent() > 0);
    QCOMPARE(line.finished.size(), 0);
    line.host.setReading(true);

    const QByteArray expected = recordsOf(settings.traffic);
    QTRY_VERIFY(line.host.received().size() >= expected.size());
    QVERIFY(line.host.received() == expected);
    QCOMPARE(line.finished.size(), 1);
}

void SimulatorTest::longMessageArrivesWhole()
{
    // More than the terminal takes in one call.
    QByteArray message;
    for (int number = 0; number < 30000; ++number)
        message += QByteArray::number(number);
    Line line(unthrottled());
    line.device.send(message);
    QVERIFY(line.upToADot() == message + '.');
}

void SimulatorTest::idleEndsAtARecordBoundary()
{
    Line line(unthrottled());
    line.host.setReading(false);
    QVERIFY(line.host.says("\nsniff\n"));
    // With the line full, records wait for the host.
    int before = 0;
    QTRY_VERIFY(line.device.framesSent() > 0
                && std::exchange(before, line.device.framesSent()) == line.device.framesSent());
    QVERIFY(line.host.says("\nidle\n"));
    QTRY_VERIFY(!line.device.isSniffing());
    line.host.setReading(true);
    QCOMPARE(afterWholeRecords(line.upToADot()), QByteArray("."));
}

void SimulatorTest::deviceWorksAgainAfterReopen()
{
    SimulatedDevice device({});
    QByteArray said;
    for (int session = 0; session < 5; ++session) {
        {
            Host host(device.portPath());
            QVERIFY(host.says("\nparms\n"));
            QTRY_COMPARE(host.received(), QByteArray("\nHAN: 11\n"));
            QVERIFY(host.says("\nidle\n"));
        }
        said += "\nparms\n\nidle\n";
        QTRY_COMPARE(device.received(), said);
    }
}

void SimulatorTest::whatIsSaidToNobodyIsLost()
{
    SimulatedDevice device({});
    device.send("lost");
    Host host(device.portPath());
    device.send("heard");
    QTRY_COMPARE(host.received(), QByteArray("heard"));
}

void SimulatorTest::restartBreaksARecordOffAndEndsSniffing()
{
    const QByteArray prompt = "[vostrel]";
    Line line(unthrottled());
    QVERIFY(line.host.says("\nsniff\n"));
    QTRY_VERIFY(line.device.framesSent() > 100);
    line.device.restart();
    QVERIFY(!line.device.isSniffing());
    QTRY_VERIFY(line.host.received().endsWith(prompt));

    const QByteArray brokenOff = afterWholeRecords(line.host.received().chopped(prompt.size()));
    QVERIFY(brokenOff.size() > 2);
    QCOMPARE(brokenOff[0], '\x01');
}

void SimulatorTest::noiseStartsNothingForAParser()
{
    Line lines[2] {Line(unthrottled()), Line(unthrottled())};
    for (Line &line : lines) {
        line.device.sendNoise(1000);
        QTRY_COMPARE(line.host.received().size(), 1000);
    }
    QCOMPARE(lines[0].host.received(), lines[1].host.received());
    for (const char start : {'\x01', 'H', 'f', '['})
        QVERIFY(!lines[0].host.received().contains(start));
}

void SimulatorTest::hangUpEndsTheHostsLine()
{
    Line line;
    QCOMPARE(line.host.error(), QSerialPort::NoError);
    line.device.hangUp();
    QTRY_VERIFY(line.host.error() != QSerialPort::NoError);
}

QTEST_GUILESS_MAIN(SimulatorTest)
#include "tst_simulator.moc"
