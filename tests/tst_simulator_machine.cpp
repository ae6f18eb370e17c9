#include "capture_file.h"
#include "mocked_machine.h"
#include "simulated_device.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QSerialPort>
#include <QSerialPortInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <map>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;
using Kind = MockedMachine::Kind;

Q_DECLARE_METATYPE(Kind)

namespace {

/** The wrapper, the program and its command start one after the other, on a busy machine, too. */
constexpr int startTimeoutMs = 30000;

QStringList listedNodes()
{
    QStringList nodes;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : ports)
        nodes.append(port.portName());
    return nodes;
}

/** A run of the simulator, ended with the object. */
class Program : public QProcess
{
public:
    /** @p options are separated by blanks; @p script is the command, run by a shell. */
    explicit Program(const QString &options, const QString &script = QString())
    {
        setProgram(SIMULATOR_PATH);
        QStringList arguments = options.split(' ', Qt::SkipEmptyParts);
        if (!script.isEmpty())
            arguments += {"--", "sh", "-c", script};
        setArguments(arguments);
    }

    ~Program() override
    {
        // Killed, it would leave the machine's folder behind.
        terminate();
        waitForFinished();
    }

    void setWithoutPreload(const QString &path = qEnvironmentVariable("PATH"))
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("LD_PRELOAD");
        environment.insert("PATH", path);
        setProcessEnvironment(environment);
    }

    /** Runs the program to its end; false when it does not end by itself. */
    bool run()
    {
        start();
        return waitForFinished() && exitStatus() == NormalExit;
    }

    /** Waits until it has printed @p text. */
    bool prints(const QByteArray &text)
    {
        const auto hasPrinted = [&] {
            m_output += readAllStandardOutput();
            return m_output.contains(text);
        };
        return QTest::qWaitFor(hasPrinted, startTimeoutMs);
    }

private:
    QByteArray m_output;
};

} // namespace

class SimulatorMachineTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void portIsListedAsItsKind_data();
    void portIsListedAsItsKind();
    void portsAreListedInTheOrderOfTheirNames();
    void portComesAndGoesAnyNumberOfTimes();
    void portsOpenWithoutErrorsSideBySide();
    void aliasLinkLeadsToItsNode();

    void programRefusesWrongArguments_data();
    void programRefusesWrongArguments();
    void programPassesSignalsOn();
    void programPlugsInWhatIsAskedFor();
    void programActsOnControlLines();
    void programFlashesAFailedDevice();
    void programReportsControlLinesItCannotFollow_data();
    void programReportsControlLinesItCannotFollow();
    void programStartsItselfUnderTheWrapper();
    void programNamesTheMissingWrapper();
    void programLinksPortsInAFolder();
    void programReplaysACaptureOnce();
    void programExplainsItself_data();
    void programExplainsItself();
};

void SimulatorMachineTest::initTestCase()
{
    QString error;
    QVERIFY2(MockedMachine::isPossible(&error), qPrintable(error));
}

void SimulatorMachineTest::portIsListedAsItsKind_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("node");
    QTest::addColumn<int>("vendor");
    QTest::addColumn<int>("product");
    QTest::addColumn<QString>("description");

    const char *bridge = "FT230X Basic UART";
    QTest::newRow("Mirzel") << Kind::Mirzel << "ttyUSB0" << 0x0403 << 0x6015 << bridge;
    QTest::newRow("Mirzel on an odd node")
        << Kind::Mirzel << "ttyS01" << 0x0403 << 0x6015 << bridge;
    QTest::newRow("Mirzel without identifiers")
        << Kind::MirzelWithoutIdentifiers << "ttyUSB1" << 0 << 0 << bridge;
    QTest::newRow("Vostrel") << Kind::Vostrel << "ttyAMA0" << 0 << 0 << "";
    QTest::newRow("Vostrel on the mini UART") << Kind::Vostrel << "ttyS0" << 0 << 0 << "";
    QTest::newRow("foreign FTDI bridge")
        << Kind::ForeignFtdi << "ttyUSB0" << 0x0403 << 0x6001 << "FT232R USB UART";
    QTest::newRow("foreign modem")
        << Kind::ForeignAcm << "ttyACM0" << 0x16c0 << 0x0483 << "USB Serial";
    QTest::newRow("foreign bridge")
        << Kind::ForeignUsbSerial << "ttyUSB0" << 0x1a86 << 0x7523 << "USB2.0-Serial";
}

void SimulatorMachineTest::portIsListedAsItsKind()
{
    QFETCH(Kind, kind);
    QFETCH(QString, node);
    MockedMachine machine;
    const SimulatedDevice device({});
    const QString path = machine.plugIn(kind, node, device.portPath());

    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    QCOMPARE(ports.size(), 1);
    QCOMPARE(ports[0].systemLocation(), path);
    QCOMPARE(ports[0].portName(), node);
    QTEST(static_cast<int>(ports[0].vendorIdentifier()), "vendor");
    QTEST(static_cast<int>(ports[0].productIdentifier()), "product");
    QTEST(ports[0].description(), "description");
}

void SimulatorMachineTest::portsAreListedInTheOrderOfTheirNames()
{
    MockedMachine machine;
    const SimulatedDevice device({});
    for (const char *node : {"ttyUSB2", "ttyUSB10", "ttyAMA0", "ttyS0", "ttyACM0", "ttyUSB0"})
        machine.plugIn(Kind::Mirzel, node, device.portPath());
    const QStringList expected = {"ttyACM0", "ttyAMA0", "ttyS0", "ttyUSB0", "ttyUSB10", "ttyUSB2"};
    QCOMPARE(listedNodes(), expected);
}

void SimulatorMachineTest::portComesAndGoesAnyNumberOfTimes()
{
    const QString node = "ttySIM0";
    MockedMachine machine;
    for (int time = 0; time < 20; ++time) {
        SimulatedDevice device({});
        const QString path = machine.plugIn(Kind::Mirzel, node, device.portPath());
        QCOMPARE(listedNodes(), QStringList {node});
        QVERIFY(machine.isPluggedIn(node));

        QSerialPort port(path);
        QVERIFY(port.open(QIODevice::ReadWrite));
        port.write("\nidle\n");
        QTRY_COMPARE(device.received(), QByteArray("\nidle\n"));
        port.close();

        machine.unplug(node);
        QCOMPARE(listedNodes(), QStringList());
        QVERIFY(!machine.isPluggedIn(node));
        QVERIFY(!QFileInfo::exists(path));
    }
}

void SimulatorMachineTest::portsOpenWithoutErrorsSideBySide()
{
    qRegisterMetaType<QSerialPort::SerialPortError>();
    struct Pair
    {
        SimulatedDevice device {SimulatedDevice::Settings()};
        QSerialPort port;
        QSignalSpy errors {&port, &QSerialPort::errorOccurred};
    };
    MockedMachine machine;
    std::map<int, Pair> pairs;
    for (int channel = 20; channel < 23; ++channel) {
        Pair &pair = pairs[channel];
        const QString node = QString("ttySIM%1").arg(channel);
        pair.port.setPortName(machine.plugIn(Kind::Mirzel, node, pair.device.portPath()));
        pair.port.setBaudRate(QSerialPort::Baud38400);
        QVERIFY(pair.port.open(QIODevice::ReadWrite));
        pair.port.write("\nchan " + QByteArray::number(channel) + "\n\nparms\n");
    }
    for (auto &[channel, pair] : pairs) {
        QTRY_COMPARE(pair.port.bytesAvailable(), 9);
        QCOMPARE(pair.port.readAll(), "\nHAN: " + QByteArray::number(channel) + '\n');
        for (const QList<QVariant> &error : pair.errors)
            QCOMPARE(error[0].value<QSerialPort::SerialPortError>(), QSerialPort::NoError);
    }
}

void SimulatorMachineTest::aliasLinkLeadsToItsNode()
{
    const QString alias = "/dev/serial0";
    MockedMachine machine;
    const SimulatedDevice device({});
    machine.plugIn(Kind::Vostrel, "ttyS0", device.portPath());
    QVERIFY(!QFileInfo::exists(alias));
    machine.linkSerial0("ttyAMA0");
    machine.linkSerial0("ttyS0");
    QVERIFY(QFileInfo::exists(alias));
    QVERIFY(QFileInfo(alias).isSymLink());
    QCOMPARE(QFileInfo(alias).symLinkTarget(), "/dev/ttyS0");
    machine.unlinkSerial0();
    QVERIFY(!QFileInfo::exists(alias));
}

void SimulatorMachineTest::programRefusesWrongArguments_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("message");

    const auto row = [](const char *name, const char *arguments, int exitCode,
                        const char *message) {
        QTest::newRow(name) << arguments << exitCode << QByteArray("fennix-simulator: ") + message;
    };
    row("no command", "--once", 2, "no command to start; see --help\n");
    row("unknown option", "--fast true", 2, "Unknown option 'fast'. See --help.\n");
    row("unknown kind", "--device radio true", 2,
        "unknown kind of device 'radio'; there are mirzel, mirzel-without-ids, vostrel, "
        "foreign-ftdi, foreign-acm\n");
    row("unknown device option", "--device mirzel:loud true", 2,
        "device 'mirzel': unknown option 'loud'; there are silent, failing, channel=N\n");
    row("unknown option of a board", "--device vostrel:loud true", 2,
        "device 'vostrel': unknown option 'loud'; there are silent, failing, channel=N, ttyAMA0, "
        "ttyS0\n");
    row("node of another kind", "--device mirzel:ttyS0 true", 2,
        "device 'mirzel': unknown option 'ttyS0'; there are silent, failing, channel=N\n");
    row("channel too high", "--device mirzel:channel=27 true", 2,
        "device 'mirzel': a channel is 11 to 26, not '27'\n");
    row("channel too low", "--device vostrel:ttyS0,channel=10 true", 2,
        "device 'vostrel': a channel is 11 to 26, not '10'\n");
    row("channel without a number", "--device mirzel:channel= true", 2,
        "device 'mirzel': a channel is 11 to 26, not ''\n");
    row("no interval", "--interval 0 true", 2,
        "--interval takes 1 to 60000 milliseconds, not '0'\n");
    row("interval too long", "--interval 60001 true", 2,
        "--interval takes 1 to 60000 milliseconds, not '60001'\n");
    row("interval without a number", "--interval fast true", 2,
        "--interval takes 1 to 60000 milliseconds, not 'fast'\n");
    row("node taken twice", "--device vostrel --device vostrel true", 2,
        "two devices on node ttyAMA0; a vostrel is on ttyAMA0 or ttyS0\n");
    row("alias of nothing", "--serial0 ttyS0 true", 2, "no device on node 'ttyS0' for --serial0\n");
    row("no name of a folder", "--ports= true", 2, "--ports needs a folder\n");
    row("folder in a file", "--ports /etc/passwd/ports true", 1,
        "cannot make the folder '/etc/passwd/ports'\n");
    row("no capture", "--replay /none.pcap true", 1,
        "/none.pcap: cannot be read: No such file or directory\n");
    row("not a capture", "--replay /etc/passwd true", 1,
        "/etc/passwd: is no pcap or pcapng capture\n");
    row("no such command", "/none/command", 127, "cannot start '/none/command'\n");
}

void SimulatorMachineTest::programRefusesWrongArguments()
{
    QFETCH(QString, arguments);
    Program program(arguments);
    QVERIFY(program.run());
    QTEST(program.exitCode(), "exitCode");
    QTEST(program.readAllStandardError(), "message");
    QCOMPARE(program.readAllStandardOutput(), QByteArray());
}

void SimulatorMachineTest::programPassesSignalsOn()
{
    // A shell that begins to read just when the signal comes would not run its trap.
    Program program("", "trap 'exit 9' TERM; echo ready; while :; do :; done");
    program.start();
    QVERIFY(program.prints("ready"));
    program.terminate();
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 9);
}

void SimulatorMachineTest::programPlugsInWhatIsAskedFor()
{
    Program program("--device mirzel --device vostrel:ttyS0,silent --device foreign-acm "
                    "--device mirzel-without-ids --device foreign-ftdi --serial0 ttyS0",
                    "for x in serial0 ttyACM0 ttyAMA0 ttyS0 ttyUSB0 ttyUSB1 ttyUSB2;"
                    "do test -e /dev/$x && echo $x; done");
    QVERIFY(program.run());
    QCOMPARE(program.readAllStandardOutput().simplified(),
             QByteArray("serial0 ttyACM0 ttyS0 ttyUSB0 ttyUSB1 ttyUSB2"));
}

void SimulatorMachineTest::programActsOnControlLines()
{
    // umockdev ends a command that opens a node just as it appears: the next one tries again.
    Program program("",
                    "exec 3<>/dev/ttyUSB0; echo open; cat <&3 2>/dev/null; echo closed;"
                    "until test -e /dev/ttyUSB0 && ( exec 3<>/dev/ttyUSB0; echo again;"
                    "printf '\\nparms\\n' >&3; cat <&3; : ) 2>/dev/null; do :; done; exit 3");
    program.start();
    QVERIFY(program.prints("open\n"));
    program.write("restart ttyUSB0\n");
    QVERIFY(program.prints("[vostrel]"));
    program.write("fail ttyUSB0\nnoise ttyUSB0 5\nunplug ttyUSB0\n");
    QVERIFY(program.prints("closed\n"));
    program.write("plug ttyUSB0\n");
    QVERIFY(program.prints("again\n"));
    QVERIFY(program.prints("\nHAN: 11\n"));
    program.write("hangup ttyUSB0\n");
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.readAllStandardError(), QByteArray());
    QCOMPARE(program.exitCode(), 3);
}

void SimulatorMachineTest::programFlashesAFailedDevice()
{
    Program program("--device mirzel:failing",
                    "exec 3<>/dev/ttyUSB0; printf '\\nparms\\n' >&3; head -c 5 <&3;"
                    "head -c 1 <&3 >/dev/null; printf '\\nparms\\n' >&3; exec cat <&3 2>/dev/null");
    program.start();
    QVERIFY(program.prints("fail!"));

    // The byte of noise tells the command that the device has been flashed.
    program.write("flash ttyUSB0\nnoise ttyUSB0 1\n");

    QVERIFY(program.prints("\nHAN: 11\n"));
    program.write("hangup ttyUSB0\n");
    QVERIFY(program.waitForFinished());
}

void SimulatorMachineTest::programReportsControlLinesItCannotFollow_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("message");

    const auto row = [](const char *name, const char *line, const char *message) {
        QTest::newRow(name) << QByteArray(line) << QByteArray("fennix-simulator: ") + message;
    };
    row("unknown word", "jump ttyUSB0",
        "unknown control line 'jump ttyUSB0'; there are unplug, plug, restart, noise, hangup, "
        "fail, flash\n");
    row("node missing", "unplug", "'unplug' is not unplug NODE\n");
    row("word too many", "restart ttyUSB0 now", "'restart ttyUSB0 now' is not restart NODE\n");
    row("noise with a word too many", "noise ttyUSB0 5 6",
        "'noise ttyUSB0 5 6' is not noise NODE [BYTES]\n");
    row("unknown node", "unplug ttyUSB9", "no device on node 'ttyUSB9'; there are ttyUSB0\n");
    row("plugged in already", "plug ttyUSB0", "ttyUSB0 is already plugged in\n");
    row("noise of no bytes", "noise ttyUSB0 none", "noise takes 1 to 100000 bytes, not 'none'\n");
    row("too much noise", "noise ttyUSB0 100001", "noise takes 1 to 100000 bytes, not '100001'\n");
}

void SimulatorMachineTest::programReportsControlLinesItCannotFollow()
{
    QFETCH(QByteArray, line);
    Program program("", "exec 3<>/dev/ttyUSB0; cat <&3");
    program.start();
    program.write(line + '\n');
    QByteArray message;
    QTRY_VERIFY_WITH_TIMEOUT((message += program.readAllStandardError()).endsWith('\n'),
                             startTimeoutMs);
    QTEST(message, "message");
    QCOMPARE(program.state(), QProcess::Running);
}

void SimulatorMachineTest::programStartsItselfUnderTheWrapper()
{
    // A command that reads its input sees its end, not the control lines.
    Program program("", "cat; test -e /dev/ttyUSB0 && exit 7");
    program.setWithoutPreload();
    program.start();
    program.write("not for the command\n");
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 7);
    QCOMPARE(program.readAllStandardOutput(), QByteArray());
}

void SimulatorMachineTest::programNamesTheMissingWrapper()
{
    const QTemporaryDir empty;
    Program program("", "exit 0");
    program.setWithoutPreload(empty.path());
    QVERIFY(program.run());
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(program.readAllStandardError(),
             QByteArray("fennix-simulator: umockdev-wrapper not found; install Debian's package "
                        "umockdev\n"));
}

void SimulatorMachineTest::programLinksPortsInAFolder()
{
    const QTemporaryDir parent;
    const QString folder = parent.filePath("new/ports");
    Program program("--device vostrel:channel=14 --serial0 ttyAMA0 --ports " + folder,
                    "cd " + folder
                        + "; exec 3<>serial0; printf '\nparms\n' >&3; cat <&3 2>/dev/null;"
                          "until test -e ttyAMA0; do :; done; echo again");
    // No machine is mocked: the program does without the wrapper.
    program.setWithoutPreload();
    program.start();
    QVERIFY(program.prints("\nHAN: 14\n"));
    program.write("unplug ttyAMA0\n");
    QTRY_VERIFY_WITH_TIMEOUT(!QFileInfo::exists(folder + "/ttyAMA0"), startTimeoutMs);
    program.write("plug ttyAMA0\n");
    QVERIFY(program.waitForFinished());
    QVERIFY(program.prints("again\n"));
    QCOMPARE(program.readAllStandardError(), QByteArray());
    QVERIFY(QDir(folder).isEmpty());
}

void SimulatorMachineTest::programReplaysACaptureOnce()
{
    const QTemporaryDir folder;
    const QString capture = folder.filePath("one-frame.pcap");
    const QByteArray frame = QByteArray::fromHex("02002a9c5b");
    writeCapture(capture, {frame});
    Program program("--once --unthrottled --replay " + capture,
                    "exec 3<>/dev/ttyUSB0; printf '\nsniff\n' >&3; cat <&3 2>/dev/null; exit 0");
    program.start();
    QVERIFY(program.prints(SimulatedDevice::frameRecord(frame)));

    // The end of the input ends a line, too.
    program.write("hangup ttyUSB0");
    program.closeWriteChannel();

    QVERIFY(program.waitForFinished());
    QCOMPARE(program.readAllStandardError(),
             QByteArray("fennix-simulator: ttyUSB0 has sent all 1 frames\n"));
}

void SimulatorMachineTest::programExplainsItself_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("help") << "--help" << QByteArray("--replay");
    QTest::newRow("version") << "--version" << QByteArray("fennix-simulator ");
}

void SimulatorMachineTest::programExplainsItself()
{
    QFETCH(const QString, option);
    QFETCH(const QByteArray, text);

    Program program(option);
    QVERIFY(program.run());
    QCOMPARE(program.exitCode(), 0);
    QVERIFY(program.prints(text));
}

QTEST_GUILESS_MAIN(SimulatorMachineTest)
#include "tst_simulator_machine.moc"
