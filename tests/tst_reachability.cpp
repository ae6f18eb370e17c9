#include "flashing_tool.h"
#include "mainwindow.h"
#include "screen.h"
#include "soak.h"

#include <QAbstractButton>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QUdpSocket>
#include <QtTest>

#include <algorithm>
#include <iterator>

namespace {

/** The simulator, strace and a program under it start one after the other, on a busy machine. */
constexpr int patienceMs = 60000;

const QLatin1String title("FENNIX");

/** Every call that names a file, starts or ends something, or has to do with sockets. */
const QLatin1String tracedCalls("%file,%network,%process,io_uring_setup");

/** What changes nothing on the machine and opens no way in, however often it happens. */
constexpr const char *harmlessCalls[] = {
    R"((access|faccessat2?|[fl]?stat|newfstatat|statx|readlink(at)?|statfs|getcwd)\(.*)",
    R"(open(at)?\(((AT_FDCWD|\d+), )?"[^"]*", O_RDONLY(?!.*O_TRUNC)[^,]*)",
    R"((arch_prctl|clone3?|v?fork|wait4|waitid|exit|exit_group)\(.*)",
    R"((getsockname|getpeername|[gs]etsockopt|shutdown)\(.*)",
    // The X server, the session's bus, the cache of users' names; the simulator's own line.
    R"((socket\(AF_UNIX|connect\(\d+, \{sa_family=AF_UNIX), .*)",
    // The network's interfaces, for the address that the window proposes.
    R"(socket\(AF_NETLINK, .*, NETLINK_ROUTE\).*)",
    // A software renderer asks whether memory can be shared with a graphics card.
    R"(openat\(AT_FDCWD, "/dev/udmabuf", O_RDWR\).*)",
    R"((sendto|sendmsg|recvfrom|recvmsg)\((?!.*sa_family=AF_INET).*)",
};

/** What the program does to the machine and the network. */
constexpr const char *expectedCalls[] = {
    // The port, and the lock that tells other programs that it is taken.
    R"(openat\(AT_FDCWD, "/[^"]*/dev/ttyUSB0", O_RDWR\|O_NOCTTY\|O_NONBLOCK\|O_CLOEXEC\).*)",
    R"(openat\(AT_FDCWD, "/var/lock/LCK..ttyUSB0", O_RDWR\|O_CREAT\|O_EXCL\|O_CLOEXEC, .*)",
    R"(unlink\("/var/lock/LCK..ttyUSB0"\).*)",
    // The socket of the datagrams: the system picks a port for it to send from.
    R"(socket\(AF_INET6?, SOCK_DGRAM\|SOCK_CLOEXEC\|SOCK_NONBLOCK, IPPROTO_IP\).*)",
    R"(bind\(\d+, \{sa_family=AF_INET6?, sin6?_port=htons\(0\).*)",
    R"(send(to|msg)\(.*sin6?_port=htons\(17754\).*)",
    // The session's folder, which is there.
    R"(mkdir\("[^"]*", 0700\) = -1 EEXIST .*)",
    // The error output of what follows: nobody reads it.
    R"(openat\(AT_FDCWD, "/dev/null", O_WRONLY\|O_CREAT\|O_TRUNC\|O_CLOEXEC, .*)",
    // The program itself, and what the user has installed the firmware with.
    R"(execve\("[^"]*/fennix", .*)",
    R"(execve\("[^"]*/sudo", \["[^"]*sudo", "/usr/bin/Ostraflash_sniffer", .*)",
};

QRegularExpression anyOf(const QStringList &patterns)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(patterns.join(QLatin1Char('|'))));
}

/** Returns the calls that match none of the patterns. */
template<std::size_t size>
QStringList without(const char *const (&patterns)[size], const QStringList &calls)
{
    const QRegularExpression pattern = anyOf({std::begin(patterns), std::end(patterns)});
    QStringList others;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(others),
                 [&](const QString &call) { return !pattern.match(call).hasMatch(); });
    return others;
}

/** The program on a screen of its own, under strace and in front of a simulated dongle. */
class TracedProgram : public QProcess
{
public:
    explicit TracedProgram(const Screen &screen);
    ~TracedProgram() override;

    /** Waits until the log, or the trace of frames, has the text once more. */
    bool says(const char *text, int timeoutMs = patienceMs);

    /** Returns the calls of the program, without the numbers of its threads. */
    QStringList calls() const;

private:
    QTemporaryDir m_folder;
    QByteArray m_said;
};

TracedProgram::TracedProgram(const Screen &screen)
{
    QProcessEnvironment environment = screen.environment();
    // A desktop session names both; without them libraries of the X server's platform make
    // one and look for the other. What is written to the user's folder would be seen.
    environment.insert("XDG_RUNTIME_DIR", m_folder.path());
    environment.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + m_folder.filePath("bus"));
    environment.insert("HOME", m_folder.path());
    setProcessEnvironment(environment);
    setProcessChannelMode(MergedChannels);
    start(SIMULATOR_PATH,
          {"--device", "mirzel:silent", "--", "stdbuf", "-oL", "strace", "-f",
           "--interruptible=waiting", "--detach-on=execve", "-s", "1000", "-o",
           m_folder.filePath("calls"), "-e", "trace=" + tracedCalls, PROGRAM_PATH});
}

TracedProgram::~TracedProgram()
{
    terminate();
    waitForFinished();
}

bool TracedProgram::says(const char *text, int timeoutMs)
{
    return QTest::qWaitFor(
        [&] {
            m_said += readAll();
            const int place = m_said.indexOf(text);
            m_said.remove(0, place + 1);
            return place >= 0;
        },
        timeoutMs);
}

QStringList TracedProgram::calls() const
{
    QFile file(m_folder.filePath("calls"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("strace has left nothing");
    // A call that another thread's comes in between is shown in two lines; neither signals nor
    // ends are calls.
    static const QRegularExpression call(
        R"(^(\d+) +(?:<\.\.\. \w+ resumed>(.*?)|([a-z].*?))( <unfinished \.\.\.>)?$)");
    QStringList calls;
    QHash<QString, QString> begun;
    const QStringList lines = QString::fromLocal8Bit(file.readAll()).split('\n');
    for (const QString &line : lines) {
        const QRegularExpressionMatch match = call.match(line);
        if (!match.hasMatch())
            continue;
        const QString thread = match.captured(1);
        begun[thread] += match.captured(2) + match.captured(3);
        if (match.captured(4).isEmpty())
            calls.append(begun.take(thread));
    }
    return calls + begun.values();
}

/** The only socket for datagrams of IPv6 in this network; it sends those of IPv4, too. */
struct SendingSocket
{
    SendingSocket();

    quint16 port;
    int unreadBytes;
    int dropped;
};

SendingSocket::SendingSocket()
{
    QFile table("/proc/net/udp6");
    if (!table.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(table.fileName()));
    const QByteArrayList fields = table.readAll().split('\n').value(1).simplified().split(' ');
    port = fields.value(1).split(':').value(1).toUShort(nullptr, 16);
    unreadBytes = fields.value(4).split(':').value(1).toInt(nullptr, 16);
    dropped = fields.value(12).toInt();
}

} // namespace

class ReachabilityTest : public QObject
{
    Q_OBJECT

private slots:
    void aSessionLeavesNothingAndOpensNoWayIn();

private:
    bool press(const char *button);
    void install(TracedProgram *program);
    void capture(TracedProgram *program);
    static void knock(TracedProgram *program);

    const Screen m_screen;
    /** Never shown: where the buttons are in its pages, they are in the program's. */
    MainWindow m_plan;
};

void ReachabilityTest::aSessionLeavesNothingAndOpensNoWayIn()
{
    m_screen.setResolution(96);
    FirmwareDirectory firmware;
    FirmwareDirectory::addFile("fw.bin", QDateTime::currentDateTime());
    const FlashingTool tool("echo done");
    TracedProgram program(m_screen);
    QTRY_VERIFY_WITH_TIMEOUT(m_screen.shows(title), patienceMs);

    install(&program);
    if (QTest::currentTestFailed())
        return;
    QCOMPARE(tool.runs().size(), 1);
    capture(&program);
    if (QTest::currentTestFailed())
        return;
    QVERIFY(m_screen.press("ctrl+q"));
    QVERIFY(program.waitForFinished(patienceMs));
    QCOMPARE(program.exitCode(), 0);

    const QStringList all = program.calls();
    const QStringList calls = without(harmlessCalls, all);
    for (const char *expected : expectedCalls)
        QVERIFY2(calls.indexOf(anyOf({expected})) >= 0, expected);
    QCOMPARE(without(expectedCalls, calls).join('\n'), QString());
    // Itself and sudo.
    QCOMPARE(calls.filter(QRegularExpression("^execve")).size(), 2);
    QCOMPARE(calls.filter(QRegularExpression("^bind")).size(), 1);
    Soak::printFigures(QString("%1 calls, none to listen, to write a file but the port's lock, or "
                               "to run a program but sudo")
                           .arg(all.size()));
}

bool ReachabilityTest::press(const char *name)
{
    const auto *button = m_plan.findChild<QAbstractButton *>(name);
    auto *pages = m_plan.findChild<QStackedWidget *>("stackedWidget");
    QWidget *page = button->parentWidget();
    while (pages->indexOf(page) < 0)
        page = page->parentWidget();
    pages->setCurrentWidget(page);
    // Lays the page out.
    m_plan.grab();
    return m_screen.click(title, button->mapTo(&m_plan, button->rect().center()));
}

void ReachabilityTest::install(TracedProgram *program)
{
    QVERIFY(press("devConnectButton"));
    QVERIFY(program->says("Disconnected"));
    QVERIFY(press("installFwBtn"));
    QVERIFY(program->says("done"));
    program->write("flash ttyUSB0\n");
}

void ReachabilityTest::capture(TracedProgram *program)
{
    // Back is enabled a moment after the tool's last word; a busy machine may answer the probe
    // late.
    const auto connect = [&] {
        return press("backBtn") && press("devConnectButton") && program->says("set channel", 3000);
    };
    QVERIFY(QTest::qWaitFor(connect, patienceMs));
    QVERIFY(press("OnBtn"));
    QVERIFY(program->says("send: "));
    knock(program);
    QVERIFY(press("OffBtn"));
    QVERIFY(press("devDisconnectButton"));
    QVERIFY(program->says("Disconnected"));
}

/** Sends to the port from which the program sends: nobody reads there, nobody answers. */
void ReachabilityTest::knock(TracedProgram *program)
{
    const quint16 port = SendingSocket().port;
    QVERIFY(port != 0);
    QUdpSocket socket;
    QVERIFY(socket.bind(QHostAddress(QHostAddress::LocalHost)));
    for (int i = 0; i < 1000; ++i)
        socket.writeDatagram("anybody there?", QHostAddress(QHostAddress::LocalHost), port);
    for (int i = 0; i < 10; ++i)
        QVERIFY(program->says("send: "));

    const SendingSocket after;
    QCOMPARE(after.port, port);
    QVERIFY(after.unreadBytes > 0);
    QVERIFY(after.dropped > 0);
    QVERIFY(!socket.hasPendingDatagrams());
}

QTEST_MAIN(ReachabilityTest)

#include "tst_reachability.moc"
