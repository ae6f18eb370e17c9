#include "pseudo_terminal.h"
#include "simulated_device.h"
#include "traffic.h"

#include <QElapsedTimer>
#include <QFile>
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

namespace {

/** The host's end of a line: holds the port open and collects what arrives. */
class Host
{
public:
    explicit Host(const QString &portPath)
        : m_descriptor(::open(QFile::encodeName(portPath), O_RDWR | O_NOCTTY | O_NONBLOCK))
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

SimulatedDevice::Settings fastSettings(SimulatedDevice::Repeat repeat)
{
    SimulatedDevice::Settings settings;
    settings.rate = SimulatedDevice::Rate::Unthrottled;
    settings.repeat = repeat;
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

    void firmwareAnswersParms_data();
    void firmwareAnswersParms();
    void channelCommandSetsOnlyRadioChannels_data();
    void channelCommandSetsOnlyRadioChannels();
    void emptyLinesAreNoCommands();
    void firmwareWithoutSnifferDoesNotSniff_data();
    void firmwareWithoutSnifferDoesNotSniff();
    void sniffStreamsEveryFrameInOrder_data();
    void sniffStreamsEveryFrameInOrder();
    void hostThatReadsLateLosesNothing();
    void longMessageArrivesWhole();
    void lineRateIsNotExceeded();
    void intervalSpacesTheFrames_data();
    void intervalSpacesTheFrames();
    void intervalDoesNotDelayTheNextStart();
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
    PseudoTerminal terminal;
    QVERIFY(!terminal.isHeldOpen());
    {
        const Host host(terminal.portPath());
        QVERIFY(terminal.isHeldOpen());
    }
    QVERIFY(!terminal.isHeldOpen());

    const PseudoTerminal moved(std::move(terminal));
    const Host host(moved.portPath());
    QVERIFY(moved.isHeldOpen());
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

void SimulatorTest::firmwareAnswersParms_data()
{
    QTest::addColumn<Firmware>("firmware");
    QTest::addColumn<QByteArray>("answer");

    QTest::newRow("sniffer") << Firmware::Sniffer << QByteArray("\nHAN: 15\n");
    QTest::newRow("silent") << Firmware::Silent << QByteArray();
    QTest::newRow("failing") << Firmware::Failing << QByteArray("fail!");
}

void SimulatorTest::firmwareAnswersParms()
{
    QFETCH(Firmware, firmware);
    QFETCH(QByteArray, answer);
    SimulatedDevice::Settings settings;
    settings.channel = 15;
    SimulatedDevice device(settings);
    device.setFirmware(firmware);
    QSignalSpy commands(&device, &SimulatedDevice::commandReceived);

    Host host(device.portPath());
    QVERIFY(host.write("\nidle\n\nparms\n"));
    QTRY_COMPARE(commands.size(), 2);
    device.send(".");
    QTRY_VERIFY(host.received().endsWith('.'));
    QCOMPARE(host.received(), answer + '.');
    QCOMPARE(device.received(), QByteArray("\nidle\n\nparms\n"));
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
    SimulatedDevice::Settings settings;
    settings.channel = 20;
    SimulatedDevice device(settings);
    QSignalSpy commands(&device, &SimulatedDevice::commandReceived);
    Host host(device.portPath());
    QVERIFY(host.write('\n' + command + '\n'));
    QTRY_COMPARE(commands.size(), 1);
    QCOMPARE(commands[0][0].toByteArray(), command);
    QTEST(device.channel(), "channel");
}

void SimulatorTest::emptyLinesAreNoCommands()
{
    SimulatedDevice device {SimulatedDevice::Settings()};
    QSignalSpy commands(&device, &SimulatedDevice::commandReceived);
    Host host(device.portPath());
    QVERIFY(host.write("\n\n\nid"));
    QTRY_COMPARE(device.received().size(), 5);
    QVERIFY(host.write("le\n"));
    QTRY_COMPARE(commands.size(), 1);
    QCOMPARE(commands[0][0].toByteArray(), QByteArray("idle"));

    device.clearReceived();
    QCOMPARE(device.received(), QByteArray());
}

void SimulatorTest::firmwareWithoutSnifferDoesNotSniff_data()
{
    QTest::addColumn<Firmware>("firmware");

    QTest::newRow("silent") << Firmware::Silent;
    QTest::newRow("failing") << Firmware::Failing;
}

void SimulatorTest::firmwareWithoutSnifferDoesNotSniff()
{
    QFETCH(Firmware, firmware);
    SimulatedDevice::Settings settings = fastSettings(SimulatedDevice::Repeat::Endless);
    settings.firmware = firmware;
    SimulatedDevice device(settings);
    QSignalSpy commands(&device, &SimulatedDevice::commandReceived);
    Host host(device.portPath());
    QVERIFY(host.write("\nsniff\n"));
    QTRY_COMPARE(commands.size(), 1);
    QVERIFY(!device.isSniffing());
    device.send(".");
    QTRY_COMPARE(host.received(), QByteArray("."));
}

void SimulatorTest::sniffStreamsEveryFrameInOrder_data()
{
    QTest::addColumn<SimulatedDevice::Rate>("rate");

    QTest::newRow("line") << SimulatedDevice::Rate::Line;
    QTest::newRow("unthrottled") << SimulatedDevice::Rate::Unthrottled;
}

void SimulatorTest::sniffStreamsEveryFrameInOrder()
{
    SimulatedDevice::Settings settings = fastSettings(SimulatedDevice::Repeat::Once);
    QFETCH(SimulatedDevice::Rate, rate);
    settings.rate = rate;
    SimulatedDevice device(settings);
    QSignalSpy finished(&device, &SimulatedDevice::replayFinished);
    Host host(device.portPath());
    QVERIFY(host.write("\nsniff\n"));
    QTRY_COMPARE(finished.size(), 1);
    QCOMPARE(device.framesSent(), settings.traffic.frames().size());
    QTRY_COMPARE(host.received().toHex(), recordsOf(settings.traffic).toHex());
}

void SimulatorTest::hostThatReadsLateLosesNothing()
{
    // Many times what the terminal's buffer holds.
    QVector<QByteArray> frames;
    for (int number = 0; number < 3000; ++number)
        frames.append(QByteArray::number(number).rightJustified(100, '.'));
    SimulatedDevice::Settings settings = fastSettings(SimulatedDevice::Repeat::Once);
    settings.traffic = Traffic::fromFrames(frames);
    SimulatedDevice device(settings);
    QSignalSpy finished(&device, &SimulatedDevice::replayFinished);
    Host host(device.portPath());
    host.setReading(false);
    QVERIFY(host.write("\nsniff\n"));
    QTRY_VERIFY(device.framesSent() > 0);
    QCOMPARE(finished.size(), 0);
    host.setReading(true);

    const QByteArray expected = recordsOf(settings.traffic);
    QTRY_VERIFY(host.received().size() >= expected.size());
    QVERIFY(host.received() == expected);
    QCOMPARE(finished.size(), 1);
}

void SimulatorTest::longMessageArrivesWhole()
{
    // More than the terminal takes in one call.
    QByteArray message;
    for (int number = 0; number < 30000; ++number)
        message += QByteArray::number(number);
    SimulatedDevice device(fastSettings(SimulatedDevice::Repeat::Endless));
    Host host(device.portPath());
    device.send(message);
    device.send(".");
    QTRY_VERIFY(host.received().endsWith('.'));
    QVERIFY(host.received() == message + '.');
}

void SimulatorTest::lineRateIsNotExceeded()
{
    SimulatedDevice::Settings settings;
    settings.repeat = SimulatedDevice::Repeat::Once;
    SimulatedDevice device(settings);
    QSignalSpy finished(&device, &SimulatedDevice::replayFinished);
    Host host(device.portPath());
    QElapsedTimer clock;
    clock.start();
    QVERIFY(host.write("\nsniff\n"));
    QTRY_COMPARE(finished.size(), 1);
    QVERIFY(clock.elapsed() >= recordsOf(settings.traffic).size() * 10'000 / 38400);
}

void SimulatorTest::intervalSpacesTheFrames_data()
{
    QTest::addColumn<SimulatedDevice::Rate>("rate");

    QTest::newRow("line") << SimulatedDevice::Rate::Line;
    QTest::newRow("unthrottled") << SimulatedDevice::Rate::Unthrottled;
}

void SimulatorTest::intervalSpacesTheFrames()
{
    SimulatedDevice::Settings settings = fastSettings(SimulatedDevice::Repeat::Once);
    QFETCH(SimulatedDevice::Rate, rate);
    settings.rate = rate;
    settings.interval = std::chrono::milliseconds(50);
    settings.traffic = Traffic::fromFrames(Traffic::builtIn().frames().mid(0, 5));
    SimulatedDevice device(settings);
    QSignalSpy finished(&device, &SimulatedDevice::replayFinished);
    Host host(device.portPath());
    QElapsedTimer clock;
    clock.start();
    QVERIFY(host.write("\nsniff\n"));
    QTRY_COMPARE(finished.size(), 1);
    QVERIFY(clock.elapsed() >= 4LL * 50);
    QTRY_COMPARE(host.received().toHex(), recordsOf(settings.traffic).toHex());
}

void SimulatorTest::intervalDoesNotDelayTheNextStart()
{
    SimulatedDevice::Settings settings;
    settings.interval = std::chrono::minutes(1);
    SimulatedDevice device(settings);
    Host host(device.portPath());
    for (int start = 1; start <= 2; ++start) {
        QVERIFY(host.write("\nsniff\n"));
        QTRY_COMPARE(device.framesSent(), start);
        QVERIFY(host.write("\nidle\n"));
        QTRY_VERIFY(!device.isSniffing());
    }
}

void SimulatorTest::idleEndsAtARecordBoundary()
{
    SimulatedDevice device(fastSettings(SimulatedDevice::Repeat::Endless));
    Host host(device.portPath());
    host.setReading(false);
    QVERIFY(host.write("\nsniff\n"));
    // With the line full, records wait for the host.
    int before = 0;
    QTRY_VERIFY(device.framesSent() > 0
                && std::exchange(before, device.framesSent()) == device.framesSent());
    QVERIFY(host.write("\nidle\n"));
    QTRY_VERIFY(!device.isSniffing());
    host.setReading(true);
    device.send(".");
    QTRY_VERIFY(host.received().endsWith('.'));
    QCOMPARE(afterWholeRecords(host.received()), QByteArray("."));
}

void SimulatorTest::commandsRightBeforeCloseArrive()
{
    SimulatedDevice device {SimulatedDevice::Settings()};
    {
        Host host(device.portPath());
        QVERIFY(host.write("\nidle\n"));
    }
    QTRY_COMPARE(device.received(), QByteArray("\nidle\n"));
}

void SimulatorTest::deviceWorksAgainAfterReopen()
{
    SimulatedDevice device {SimulatedDevice::Settings()};
    for (int session = 0; session < 5; ++session) {
        Host host(device.portPath());
        QVERIFY(host.write("\nparms\n"));
        QTRY_COMPARE(host.received(), QByteArray("\nHAN: 11\n"));
    }
}

void SimulatorTest::whatIsSaidToNobodyIsLost()
{
    SimulatedDevice device {SimulatedDevice::Settings()};
    device.send("lost");
    Host host(device.portPath());
    device.send("heard");
    QTRY_COMPARE(host.received(), QByteArray("heard"));
}

void SimulatorTest::restartBreaksARecordOffAndEndsSniffing()
{
    const QByteArray prompt = "[vostrel]";
    SimulatedDevice device(fastSettings(SimulatedDevice::Repeat::Endless));
    Host host(device.portPath());
    QVERIFY(host.write("\nsniff\n"));
    QTRY_VERIFY(device.framesSent() > 100);
    device.restart();
    QVERIFY(!device.isSniffing());
    QTRY_VERIFY(host.received().endsWith(prompt));

    const QByteArray brokenOff = afterWholeRecords(host.received().chopped(prompt.size()));
    QVERIFY(brokenOff.size() > 2);
    QCOMPARE(brokenOff[0], '\x01');
}

void SimulatorTest::noiseStartsNothingForAParser()
{
    QVector<QByteArray> noises;
    for (int run = 0; run < 2; ++run) {
        SimulatedDevice device(fastSettings(SimulatedDevice::Repeat::Endless));
        Host host(device.portPath());
        device.sendNoise(1000);
        QTRY_COMPARE(host.received().size(), 1000);
        noises.append(host.received());
    }
    QCOMPARE(noises[0], noises[1]);
    for (const char start : {'\x01', 'H', 'f', '['})
        QVERIFY(!noises[0].contains(start));
}

void SimulatorTest::hangUpEndsTheHostsLine()
{
    SimulatedDevice device {SimulatedDevice::Settings()};
    const Host host(device.portPath());
    QVERIFY(!host.isHungUp());
    device.hangUp();
    QVERIFY(host.isHungUp());
}

QTEST_GUILESS_MAIN(SimulatorTest)
#include "tst_simulator.moc"
