#include "pseudo_terminal.h"
#include "simulated_device.h"
#include "traffic.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QSocketNotifier>
#include <QTest>

#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

using Simulator::PseudoTerminal;
using Simulator::SimulatedDevice;
using Simulator::Traffic;
using Firmware = SimulatedDevice::Firmware;
using Rate = SimulatedDevice::Rate;
using Settings = SimulatedDevice::Settings;

namespace {

/** The host's end of a line: holds the port open and collects what arrives. */
class Host
{
public:
    explicit Host(const QString &portPath)
        : m_descriptor(::open(qPrintable(portPath), O_RDWR | O_NOCTTY | O_NONBLOCK))
        , m_readable(m_descriptor, QSocketNotifier::Read)
    {
        QObject::connect(&m_readable, &QSocketNotifier::activated, &m_readable, [this] { read(); });
    }
    ~Host()
    {
        m_readable.setEnabled(false);
        ::close(m_descriptor);
    }
    Q_DISABLE_COPY(Host)

    void setReading(bool reading) { m_readable.setEnabled(reading); }

    bool write(const QByteArray &bytes)
    {
        const auto size = static_cast<size_t>(bytes.size());
        return ::write(m_descriptor, bytes.constData(), size) == bytes.size();
    }

    QByteArray received() const { return m_received; }

    bool isHungUp() const
    {
        pollfd state {m_descriptor, 0, 0};
        return ::poll(&state, 1, 0) == 1 && (state.revents & POLLHUP) != 0;
    }

private:
    void read()
    {
        char buffer[4096];
        const ssize_t count = ::read(m_descriptor, buffer, sizeof buffer);
        m_readable.setEnabled(count > 0);
        m_received.append(buffer, static_cast<int>(qMax<ssize_t>(count, 0)));
    }

    int m_descriptor;
    QSocketNotifier m_readable;
    QByteArray m_received;
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
    void channelCommandSetsOnlyRadioChannels_data();
    void channelCommandSetsOnlyRadioChannels();
    void emptyLinesAreNoCommands();
    void framesComeInOrderAndNoFasterThanAsked_data();
    void framesComeInOrderAndNoFasterThanAsked();
    void intervalDoesNotDelayTheNextStart();
    void hostThatReadsLateLosesNothing();
    void longMessageArrivesWhole();
    void idleEndsAtARecordBoundary();
    void commandsRightBeforeCloseArrive();
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
        QVERIFY(terminal.isHeldOpen());
    }
    QVERIFY(!terminal.isHeldOpen());
}

void SimulatorTest::terminalForgetsWhatWasNotRead()
{
    PseudoTerminal terminal;
    {
        const Host host(terminal.portPath());
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

    QVERIFY(line.host.write("\nidle\n\nparms\n\nsniff\n"));
    QTRY_COMPARE(line.commands.size(), 3);
    QCOMPARE(line.device.isSniffing(), sniffs);
    QCOMPARE(line.upToADot(), answer + (sniffs ? recordsOf(settings.traffic) : "") + '.');
    QCOMPARE(line.device.received(), QByteArray("\nidle\n\nparms\n\nsniff\n"));
}

void SimulatorTest::channelCommandSetsOnlyRadioChannels_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("channel");

    QTest::newRow("lowest") << QByteArray("chan 11") << 11;
    QTest::newRow("highest") << QByteArray("chan 26") << 26;
    QTest::newRow("below") << QByteArray("chan 10") << 20;
    QTest::newRow("above") << QByteArray("chan 27") << 20;
    QTest::newRow("no number") << QByteArray("chan x") << 20;
}

void SimulatorTest::channelCommandSetsOnlyRadioChannels()
{
    QFETCH(QByteArray, command);
    Settings settings;
    settings.channel = 20;
    Line line(settings);
    QVERIFY(line.host.write('\n' + command + '\n'));
    QTRY_COMPARE(line.commands.size(), 1);
    QCOMPARE(line.commands[0][0].toByteArray(), command);
    QTEST(line.device.channel(), "channel");
}

void SimulatorTest::emptyLinesAreNoCommands()
{
    Line line;
    QVERIFY(line.host.write("\n\n\nid"));
    QTRY_COMPARE(line.device.received().size(), 5);
    QVERIFY(line.host.write("le\n"));
    QTRY_COMPARE(line.commands.size(), 1);
    QCOMPARE(line.commands[0][0].toByteArray(), QByteArray("idle"));

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
    QVERIFY(line.host.write("\nsniff\n"));
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
        QVERIFY(line.host.write("\nsniff\n"));
        QTRY_COMPARE(line.device.framesSent(), start);
        QVERIFY(line.host.write("\nidle\n"));
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
    QVERIFY(line.host.write("\nsniff\n"));
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
    QVERIFY(line.host.write("\nsniff\n"));
    // With the line full, records wait for the host.
    int before = 0;
    QTRY_VERIFY(line.device.framesSent() > 0
                && std::exchange(before, line.device.framesSent()) == line.device.framesSent());
    QVERIFY(line.host.write("\nidle\n"));
    QTRY_VERIFY(!line.device.isSniffing());
    line.host.setReading(true);
    QCOMPARE(afterWholeRecords(line.upToADot()), QByteArray("."));
}

void SimulatorTest::commandsRightBeforeCloseArrive()
{
    SimulatedDevice device({});
    {
        Host host(device.portPath());
        QVERIFY(host.write("\nidle\n"));
    }
    QTRY_COMPARE(device.received(), QByteArray("\nidle\n"));
}

void SimulatorTest::deviceWorksAgainAfterReopen()
{
    SimulatedDevice device({});
    for (int session = 0; session < 5; ++session) {
        Host host(device.portPath());
        QVERIFY(host.write("\nparms\n"));
        QTRY_COMPARE(host.received(), QByteArray("\nHAN: 11\n"));
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
    QVERIFY(line.host.write("\nsniff\n"));
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
    QVERIFY(!line.host.isHungUp());
    line.device.hangUp();
    QVERIFY(line.host.isHungUp());
}

QTEST_GUILESS_MAIN(SimulatorTest)
#include "tst_simulator.moc"
