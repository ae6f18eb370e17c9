#include "flashing_process.h"
#include "flashing_tool.h"

#include <QFile>
#include <QSignalSpy>
#include <QtTest>

#include <cerrno>
#include <csignal>

namespace {

constexpr char abandonArgument[] = "--abandon-a-tool";
constexpr int briefly = 100;
constexpr int longEnough = 60000;

int signalsSent;

} // namespace

/** Takes the place of the system's kill(): nobody here may signal the tool, which is root's. */
extern "C" int kill(pid_t /*pid*/, int /*signal*/) noexcept
{
    ++signalsSent;
    errno = EPERM;
    return -1;
}

class FlashingProcessTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void readsOnUntilTheToolHasEnded();
    void leavesAProcessThatIsNotRunningAlone();
    void leavesAToolThatHangsToItself();
    void aToolThatIsLeftMayGoOnWriting();
    void waitsAsLongAsTheManualSays();

private:
    static void start(QProcess *process);

    QByteArray m_output;
};

void FlashingProcessTest::initTestCase()
{
    qRegisterMetaType<QProcess::ExitStatus>();
}

void FlashingProcessTest::init()
{
    signalsSent = 0;
}

void FlashingProcessTest::start(QProcess *process)
{
    process->start("sudo", {"tool"}, QIODevice::ReadWrite);
    QVERIFY(process->waitForStarted());
}

void FlashingProcessTest::readsOnUntilTheToolHasEnded()
{
    // More than a pipe holds: without a reader, the tool would never come to its end.
    const FlashingTool tool("sleep 0.3; head -c 300000 /dev/zero; head -c 300000 /dev/zero >&2");
    QObject owner;
    auto *process = new FlashingProcess(&owner);
    connect(process, &QProcess::readyReadStandardOutput, this,
            [this, process] { m_output += process->readAllStandardOutput(); });
    const QSignalSpy ends(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished));
    start(process);

    FlashingProcess::letFinish(*process, longEnough);

    QCOMPARE(ends.size(), 1);
    QCOMPARE(process->exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_output.size(), 300000);
    QCOMPARE(process->parent(), &owner);
    QCOMPARE(signalsSent, 0);
}

void FlashingProcessTest::leavesAProcessThatIsNotRunningAlone()
{
    QObject owner;
    auto *neverStarted = new FlashingProcess(&owner);

    FlashingProcess::letFinish(*neverStarted, longEnough);

    QCOMPARE(neverStarted->parent(), &owner);
}

void FlashingProcessTest::leavesAToolThatHangsToItself()
{
    const FlashingTool tool(R"(await; touch "$folder/ended")");
    auto owner = std::make_unique<QObject>();
    QPointer<FlashingProcess> process = new FlashingProcess(owner.get());
    start(process);

    FlashingProcess::letFinish(*process, briefly);
    owner.reset();

    QVERIFY(process);
    QCOMPARE(process->state(), QProcess::Running);
    tool.release();
    QVERIFY(process->waitForFinished());
    QVERIFY(tool.hasLeft("ended"));
    QCOMPARE(signalsSent, 0);
}

void FlashingProcessTest::aToolThatIsLeftMayGoOnWriting()
{
    const FlashingTool tool(R"(await; echo nobody reads this; touch "$folder/ended")");
    QProcess program;
    program.start(QCoreApplication::applicationFilePath(), {abandonArgument});

    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 0);
    QVERIFY(!tool.hasLeft("ended"));
    tool.release();

    QTRY_VERIFY(tool.hasLeft("ended"));
}

void FlashingProcessTest::waitsAsLongAsTheManualSays()
{
    QFile chapter(MANUAL_CHAPTERS "/firmware.adoc");
    QVERIFY(chapter.open(QIODevice::ReadOnly));

    QVERIFY(chapter.readAll().contains("or after two minutes at the latest"));
    QCOMPARE(FlashingProcess::installationPatienceMs, 2 * 60 * 1000);
}

/** Stands in for the program: ends while its tool is still at work. */
static int abandonATool()
{
    auto *process = new FlashingProcess;
    process->start("sudo", {"tool"}, QIODevice::ReadWrite);
    if (!process->waitForStarted())
        return 1;
    FlashingProcess::letFinish(*process, briefly);
    return process->state() == QProcess::Running ? 0 : 1;
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    if (argc == 2 && qstrcmp(argv[1], abandonArgument) == 0)
        return abandonATool();
    FlashingProcessTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_flashing_process.moc"
