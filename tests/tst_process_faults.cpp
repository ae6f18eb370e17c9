#include "flashing_tool.h"
#include "held_probe.h"
#include "patience.h"
#include "plugged_device.h"
#include "screen.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QProcess>
#include <QTimer>
#include <QtTest>

#include <fcntl.h>
#include <unistd.h>

/** The program's main(), built under another name beside the test's own. */
int fennixMain(int argc, char *argv[]);

namespace {

/** A program's start takes its time on a busy machine. */
constexpr int startTimeoutMs = 12000;

constexpr char lockFile[] = "/run/lock/LCK..ttyUSB0";

/** Starts a capture to this machine, as a user does. */
void capture(MainWindow *window)
{
    static const HeldProbe probe;
    window->findChild<QAbstractButton *>("devConnectButton")->click();
    window->findChild<QLineEdit *>("remoteIpInput")->clear();
    window->findChild<QAbstractButton *>("OnBtn")->click();
}

/** Starts an installation, as a user does on the page that offers it. */
void install(MainWindow *window)
{
    window->findChild<QComboBox *>("usbComboBox")->addItem("Mirzel");
    window->findChild<QAbstractButton *>("devConnectButton")->click();
    QMetaObject::invokeMethod(window, "showFirmwareUpdatePage");
    window->findChild<QAbstractButton *>("installFwBtn")->click();
}

using User = void (*)(MainWindow *);

/** What a process of this program does as the user of the window; null in the test itself. */
User user;

User userNamed(const QByteArray &name)
{
    const QMap<QByteArray, User> users = {{"capture", capture}, {"install", install}};
    return users.value(name);
}

void letTheUserIn()
{
    if (user)
        QTimer::singleShot(0, qApp, [] { user(WindowUnderTest::ofTheProgram()); });
}

/** What becomes of the standard streams of a process before it starts. */
using Streams = void (*)();

/** Makes @p descriptor the end of a pipe that nobody reads any more. */
void breakPipe(int descriptor)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        _exit(EXIT_FAILURE);
    dup2(ends[1], descriptor);
    close(ends[0]);
}

/** The program as a process of its own, in a window on a real screen. Ends with the object. */
class Program : public QProcess
{
public:
    Program(const Screen &screen, const QString &userName, Streams streams = nullptr)
        : m_streams(streams)
    {
        setProcessEnvironment(screen.environment());
        start(QCoreApplication::applicationFilePath(), {userName});
    }

    ~Program() override
    {
        kill();
        waitForFinished(patienceMs());
    }

protected:
    void setupChildProcess() override
    {
        if (m_streams)
            m_streams();
    }

private:
    Streams m_streams;
};

} // namespace

Q_COREAPP_STARTUP_FUNCTION(letTheUserIn)

Q_DECLARE_METATYPE(Streams)

class ProcessFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void capturesWithoutItsStandardStreams_data();
    void capturesWithoutItsStandardStreams();
    void endsWithTheDisplayServer();
    void theDisplayServersEndLeavesAnInstallationAlone();

private:
    /** Waits for the first datagram. */
    bool isCapturing() const;

    Simulator::MockedMachine m_machine;
    std::unique_ptr<PluggedDevice> m_device;
    std::unique_ptr<ZepReceiver> m_receiver;
    std::unique_ptr<Screen> m_screen;
};

void ProcessFaultsTest::init()
{
    m_device =
        std::make_unique<PluggedDevice>(&m_machine, fastDevice(std::chrono::milliseconds(2)));
    m_receiver = std::make_unique<ZepReceiver>();
    m_screen = std::make_unique<Screen>();
}

void ProcessFaultsTest::cleanup()
{
    m_screen.reset();
    m_receiver.reset();
    m_device.reset();
    loseSomePatience();
}

bool ProcessFaultsTest::isCapturing() const
{
    return QTest::qWaitFor([&] { return m_receiver->count() > 0; }, patienceMs(startTimeoutMs));
}

void ProcessFaultsTest::capturesWithoutItsStandardStreams_data()
{
    QTest::addColumn<Streams>("streams");
    QTest::newRow("a full disk behind both outputs") << Streams([] {
        const int disk = open("/dev/full", O_WRONLY | O_CLOEXEC);
        dup2(disk, STDOUT_FILENO);
        dup2(disk, STDERR_FILENO);
    });
    QTest::newRow("no standard output") << Streams([] { close(STDOUT_FILENO); });
    QTest::newRow("no standard error") << Streams([] { close(STDERR_FILENO); });
    QTest::newRow("nobody reads the standard output") << Streams([] { breakPipe(STDOUT_FILENO); });
    QTest::newRow("nobody reads the standard error") << Streams([] { breakPipe(STDERR_FILENO); });
}

void ProcessFaultsTest::capturesWithoutItsStandardStreams()
{
    QFETCH(Streams, streams);
    const Program program(*m_screen, "capture", streams);
    QVERIFY(isCapturing());

    // Each restart is a line of the log, and these are more than it keeps back.
    m_device->clearReceived();
    const int restarts = 300;
    m_device->send(QByteArray("[vostrel]").repeated(restarts));

    const QByteArray recovery = "\nidle\n\nsniff\n";
    QTRY_COMPARE_WITH_TIMEOUT(m_device->received(), recovery.repeated(restarts), patienceMs());
    const int before = m_receiver->count();
    QTRY_VERIFY_WITH_TIMEOUT(m_receiver->count() > before, patienceMs());
    QCOMPARE(program.state(), QProcess::Running);
}

void ProcessFaultsTest::endsWithTheDisplayServer()
{
    Program program(*m_screen, "capture");
    QVERIFY(isCapturing());

    m_screen.reset();

    QVERIFY(program.waitForFinished(patienceMs()));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 1);
    const QByteArray errors = program.readAllStandardError();
    QVERIFY2(errors.contains("The X11 connection broke"), errors.right(200));
    // It has had no time to clear up.
    QVERIFY(m_device->isSniffing());
    QVERIFY(QFile::exists(lockFile));

    // The next one neither minds the lock of a process that is gone nor the busy device.
    // A receiver of its own: the other one may still find datagrams of the first capture.
    m_receiver.reset();
    m_receiver = std::make_unique<ZepReceiver>();
    m_screen = std::make_unique<Screen>();
    const Program next(*m_screen, "capture");
    QVERIFY(isCapturing());
}

void ProcessFaultsTest::theDisplayServersEndLeavesAnInstallationAlone()
{
    FirmwareDirectory firmware;
    FirmwareDirectory::addFile("fw.bin", QDateTime::currentDateTime());
    const FlashingTool tool(R"(await; yes | head -c 300000; touch "$folder/ended")");
    Program program(*m_screen, "install");
    QVERIFY(QTest::qWaitFor([&] { return !tool.runs().isEmpty(); }, patienceMs(startTimeoutMs)));

    m_screen.reset();

    QVERIFY(program.waitForFinished(patienceMs()));
    QCOMPARE(program.exitCode(), 1);
    tool.release();
    QTRY_VERIFY_WITH_TIMEOUT(tool.hasLeft("ended"), patienceMs());
}

int main(int argc, char *argv[])
{
    user = argc == 2 ? userNamed(argv[1]) : nullptr;
    if (user)
        return fennixMain(1, argv);
    const QCoreApplication application(argc, argv);
    ProcessFaultsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_process_faults.moc"
