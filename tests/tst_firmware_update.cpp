#include "flashing_tool.h"
#include "message_capture.h"
#include "mocked_machine.h"
#include "patience.h"
#include "simulated_device.h"
#include "soak.h"
#include "window_under_test.h"

#include <QAction>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QLabel>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QScopeGuard>
#include <QThread>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>

#include <sys/resource.h>
#include <sys/wait.h>

using Kind = Simulator::MockedMachine::Kind;
using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

namespace {

/** What a gigabyte may take to be printed. */
constexpr int talkTimeoutMs = 600000;
constexpr int shortTalkTimeoutMs = 20000;

constexpr char printFunction[] = "void MainWindow::PrintStdOutput()";

const char *const noFirmware = "No firmware found in /usr/share/fennix/fw";
const char *const installing = "Installing firmware fw.bin (this should take < 1 min)";
const char *const done = "Firmware install done.";
const char *const failed = "Firmware install error.";

SimulatedDevice::Settings deviceWith(SimulatedDevice::Firmware firmware)
{
    SimulatedDevice::Settings settings;
    settings.firmware = firmware;
    return settings;
}

/** The window on the page that offers the installation on a device of some name. */
class FirmwareWindow : public WindowUnderTest
{
public:
    explicit FirmwareWindow(const QString &deviceName)
        : status(find<QLabel>("label_firmwareStatus"))
        , installButton(find<QPushButton>("installFwBtn"))
        , backButton(find<QPushButton>("backBtn"))
    {
        choose(deviceName);
        backButton->setEnabled(false);
        call("showFirmwareUpdatePage");
    }

    /** Presses Connect on an entry of that name, behind which there is no device. */
    void choose(const QString &deviceName)
    {
        auto *box = find<QComboBox>("usbComboBox");
        box->clear();
        box->addItem(deviceName);
        find<QPushButton>("devConnectButton")->click();
    }

    bool isInstalling() const { return !installButton->isEnabled() && !backButton->isEnabled(); }

    QLabel *status;
    QPushButton *installButton;
    QPushButton *backButton;
};

QList<QTimer *> runningTimers(const MainWindow &window)
{
    QList<QTimer *> running;
    const QList<QTimer *> timers = window.findChildren<QTimer *>();
    std::copy_if(timers.begin(), timers.end(), std::back_inserter(running),
                 [](const QTimer *timer) { return timer->isActive(); });
    return running;
}

/** Returns the most memory that the process has held so far, in megabytes. */
int peakMemory()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<int>(usage.ru_maxrss / 1024);
}

/** Counts the characters of Qt's own messages for as long as it lives, in place of printing them.
 */
class CountedMessages
{
public:
    CountedMessages()
        : m_previous(qInstallMessageHandler(count))
    {
        characters = 0;
    }
    ~CountedMessages() { qInstallMessageHandler(m_previous); }
    Q_DISABLE_COPY(CountedMessages)

    qint64 size() const { return characters; }

private:
    static void count(QtMsgType /*type*/, const QMessageLogContext & /*context*/,
                      const QString &text)
    {
        characters += text.size();
    }

    static qint64 characters;
    QtMessageHandler m_previous;
};

qint64 CountedMessages::characters;

/** Returns whether the child has exited, even if its QProcess does not know yet. */
bool hasExited(const QProcess &child)
{
    siginfo_t info = {};
    const auto id = static_cast<id_t>(child.processId());
    const int result = waitid(P_PID, id, &info, WEXITED | WNOHANG | WNOWAIT);
    // Without pidfd, Qt's handler of SIGCHLD has already collected the child.
    return result == -1 || info.si_pid != 0;
}

/** Waits for that without delivering an event. */
bool waitUntilExited(const QProcess &child)
{
    const QDeadlineTimer deadline(patienceMs());
    while (!hasExited(child)) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(10);
    }
    return true;
}

/** Calls a function when a MainWindow is hidden, not when what is left of one is destroyed. */
class HideWatch : public QObject
{
public:
    explicit HideWatch(std::function<void()> hidden)
        : m_hidden(std::move(hidden))
    { }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Hide && qobject_cast<MainWindow *>(watched))
            m_hidden();
        return false;
    }

private:
    std::function<void()> m_hidden;
};

/** Collects what @p status says whenever @p child ends, until it is destroyed with the window. */
std::shared_ptr<QStringList> outcomesOf(const QProcess *child, const QLabel *status)
{
    auto outcomes = std::make_shared<QStringList>();
    QObject::connect(child, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), status,
                     [outcomes, status] { outcomes->append(status->text()); });
    return outcomes;
}

QStringList printed(const MessageCapture &messages)
{
    QStringList texts;
    for (const MessageCapture::Message &message : messages.messages()) {
        if (message.function == QLatin1String(printFunction))
            texts.append(message.text);
    }
    return texts;
}

} // namespace

Q_DECLARE_METATYPE(QProcess::ExitStatus)

class FirmwareUpdateTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void silentFirmwareLeadsToTheInstallation();
    void failingFirmwareLeadsToTheInstallation();
    void severalDevicesLeadToTheirOwnPage();
    void theSeveralDevicesPageStartsOver();
    void offersTheInstallationWhenThereIsAFile_data();
    void offersTheInstallationWhenThereIsAFile();
    void namesTheChosenDevice();
    void installsTheNewestFile();
    void commandLineDependsOnTheDevice_data();
    void commandLineDependsOnTheDevice();
    void anUnknownDeviceStartsNothing();
    void theEndAfterAnUnknownDeviceArrivesTwice();
    void reportsTheOutcome_data();
    void reportsTheOutcome();
    void aCrashWithoutAnExitCodeIsAnError();
    void aRunAfterAnErrorCanSucceed();
    void leavingThePageDisconnects();
    void aToolThatHangsLeavesTheRestUsable();
    void aDirectoryThatVanishesIsTheToolsTrouble();
    void aTalkativeToolCostsNoMemory_data();
    void aTalkativeToolCostsNoMemory();
    void printsTheOutputInPieces();
    void printsNothingWithoutAProcess();
    void neverReadsTheErrorOutput();
    void aMissingSudoLeavesThePageInstalling();
    void quittingJustWhenTheToolEndsIsPossible();
    void theToolMayEndWhileTheWindowDisappears();
    void quittingHidesTheWindowForARunningTool_data();
    void quittingHidesTheWindowForARunningTool();

private:
    std::unique_ptr<MockedMachine> m_machine;
    std::unique_ptr<FirmwareDirectory> m_firmware;
};

void FirmwareUpdateTest::init()
{
    m_machine = std::make_unique<MockedMachine>();
    m_firmware = std::make_unique<FirmwareDirectory>();
    FirmwareDirectory::addFile("fw.bin", QDateTime::currentDateTime());
}

void FirmwareUpdateTest::cleanup()
{
    m_firmware.reset();
    m_machine.reset();
}

void FirmwareUpdateTest::silentFirmwareLeadsToTheInstallation()
{
    const SimulatedDevice device(deviceWith(SimulatedDevice::Firmware::Silent));
    m_machine->plugIn(Kind::Mirzel, "ttyUSB0", device.portPath());
    WindowUnderTest test;
    test.probe.release();
    test.click("devConnectButton");
    QCOMPARE(test.page(), QByteArray("pageConnected"));

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNoFirmware"), patienceMs());

    QCOMPARE(test.find<QLabel>("label_firmwareStatus")->text(),
             QString("Click the button to install sniffer firmware to the Mirzel."));
    QCOMPARE(test.log.messages().constLast(), QByteArray("Disconnected"));
}

void FirmwareUpdateTest::failingFirmwareLeadsToTheInstallation()
{
    const SimulatedDevice device(deviceWith(SimulatedDevice::Firmware::Failing));
    m_machine->plugIn(Kind::Vostrel, "ttyAMA0", device.portPath());
    const WindowUnderTest test;
    test.click("devConnectButton");

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNoFirmware"), patienceMs());

    QCOMPARE(test.find<QLabel>("label_firmwareStatus")->text(),
             QString("Click the button to install sniffer firmware to the Vostrel."));
    QVERIFY(test.log.messages().contains("number of Devices: 1"));
    QVERIFY(test.log.messages().contains("available COM ports size: 1"));
}

void FirmwareUpdateTest::severalDevicesLeadToTheirOwnPage()
{
    SimulatedDevice first(deviceWith(SimulatedDevice::Firmware::Silent));
    const SimulatedDevice second({});
    m_machine->plugIn(Kind::Mirzel, "ttyUSB0", first.portPath());
    m_machine->plugIn(Kind::Mirzel, "ttyUSB1", second.portPath());
    WindowUnderTest test;
    test.probe.release();
    const auto *button = test.find<QPushButton>("continueBtn");
    test.click("devConnectButton");

    QTRY_COMPARE_WITH_TIMEOUT(test.page(), QByteArray("pageNoFirmwareTooManyDev"), patienceMs());
    QVERIFY(!button->isEnabled());
    // The poll goes on for as long as there are two.
    QTRY_COMPARE_WITH_TIMEOUT(runningTimers(test.window).size(), 1, patienceMs());
    QSignalSpy polls(runningTimers(test.window).constFirst(), &QTimer::timeout);
    QTRY_VERIFY_WITH_TIMEOUT(polls.count() >= 2, patienceMs());
    QVERIFY(!button->isEnabled());

    m_machine->unplug("ttyUSB1");
    QTRY_VERIFY_WITH_TIMEOUT(button->isEnabled(), patienceMs());
    QCOMPARE(MainWindow::numberOfDevices, 1);

    // Nothing counts the devices any more, and the button stays as it is.
    QVERIFY(runningTimers(test.window).isEmpty());

    test.click("continueBtn");
    QCOMPARE(test.page(), QByteArray("pageNoFirmware"));
}

void FirmwareUpdateTest::theSeveralDevicesPageStartsOver()
{
    WindowUnderTest test;
    test.find<QLabel>("label_firmwareInfo")->setText("something else");
    test.find<QPushButton>("backBtn_6")->setEnabled(false);

    test.call("showFirmwareUpdatePageTooManyDevices");

    QCOMPARE(test.page(), QByteArray("pageNoFirmwareTooManyDev"));
    QCOMPARE(test.find<QLabel>("label_firmwareInfo")->text(),
             QString("To install firmware make sure that only one USB dongle is connected to your "
                     "machine."));
    QVERIFY(!test.find<QPushButton>("continueBtn")->isEnabled());
    test.click("backBtn_6");
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
}

void FirmwareUpdateTest::offersTheInstallationWhenThereIsAFile_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QStringList>("folders");
    QTest::addColumn<bool>("offers");
    QTest::newRow("bin") << QStringList {"x.bin"} << QStringList() << true;
    QTest::newRow("GCF") << QStringList {"x.GCF"} << QStringList() << true;
    QTest::newRow("BIN") << QStringList {"FW.BIN"} << QStringList() << true;
    QTest::newRow("gcf") << QStringList {"x.gcf"} << QStringList() << true;
    QTest::newRow("another ending")
        << QStringList {"x.hex", "bin", "x.bin~"} << QStringList() << false;
    QTest::newRow("hidden") << QStringList {".x.bin"} << QStringList() << false;
    QTest::newRow("a folder") << QStringList() << QStringList {"x.bin"} << false;
    QTest::newRow("in a folder") << QStringList() << QStringList {"x/x.bin"} << false;
    QTest::newRow("empty") << QStringList() << QStringList {"."} << false;
    QTest::newRow("missing") << QStringList() << QStringList() << false;
}

void FirmwareUpdateTest::offersTheInstallationWhenThereIsAFile()
{
    QFETCH(QStringList, files);
    QFETCH(QStringList, folders);
    QFETCH(bool, offers);
    m_firmware = nullptr;
    m_firmware = std::make_unique<FirmwareDirectory>();
    for (const QString &file : qAsConst(files))
        FirmwareDirectory::addFile(file, QDateTime::currentDateTime());
    for (const QString &folder : qAsConst(folders))
        FirmwareDirectory::addFolder(folder);

    const FirmwareWindow test("Mirzel");

    QCOMPARE(test.installButton->isEnabled(), offers);
    QVERIFY(test.backButton->isEnabled());
    QCOMPARE(test.status->text(),
             offers ? QString("Click the button to install sniffer firmware to the Mirzel.")
                    : QString(noFirmware));
}

void FirmwareUpdateTest::namesTheChosenDevice()
{
    FirmwareWindow test("Mirzel");
    test.choose("Vostrel");

    test.call("showFirmwareUpdatePage");

    QCOMPARE(test.status->text(),
             QString("Click the button to install sniffer firmware to the Vostrel."));
}

void FirmwareUpdateTest::installsTheNewestFile()
{
    const QDateTime now = QDateTime::currentDateTime();
    FirmwareDirectory::addFile("zzz.bin", now.addDays(-2));
    FirmwareDirectory::addFile("new.GCF", now.addDays(1));
    FirmwareDirectory::addFile("aaa.bin", now.addDays(-1));
    const FlashingTool tool("await");
    const FirmwareWindow test("Mirzel");

    test.click("installFwBtn");

    QCOMPARE(test.status->text(),
             QString("Installing firmware new.GCF (this should take < 1 min)"));
    QTRY_COMPARE_WITH_TIMEOUT(tool.runs().size(), 1, patienceMs());
    QCOMPARE(tool.runs().constFirst().at(2), QString("/usr/share/fennix/fw/new.GCF"));
    tool.release();
    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(done), patienceMs());
}

void FirmwareUpdateTest::commandLineDependsOnTheDevice_data()
{
    QTest::addColumn<QString>("device");
    QTest::addColumn<QStringList>("arguments");
    const QStringList common = {"/usr/bin/Ostraflash_sniffer", "-f", "/usr/share/fennix/fw/fw.bin"};
    const QStringList dongle = common + QStringList {"-d", "0"};
    QTest::newRow("dongle") << "Mirzel" << dongle;
    QTest::newRow("board") << "Vostrel" << common;
    QTest::newRow("a longer name") << "USB Mirzel II" << dongle;
    QTest::newRow("a longer name of the board") << "Vostrel II" << common;
    QTest::newRow("both names") << "Vostrel or Mirzel" << dongle;
}

void FirmwareUpdateTest::commandLineDependsOnTheDevice()
{
    QFETCH(QString, device);
    QFETCH(QStringList, arguments);
    const FlashingTool tool("exit 0");
    const FirmwareWindow test(device);

    test.click("installFwBtn");

    QVERIFY(test.isInstalling());
    QCOMPARE(test.status->text(), QString(installing));
    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(done), patienceMs());
    QCOMPARE(tool.runs(), QList<QStringList>({arguments}));
}

void FirmwareUpdateTest::anUnknownDeviceStartsNothing()
{
    const FlashingTool tool("exit 0");
    const FirmwareWindow test("mirzel");
    const QString before = test.status->text();

    test.click("installFwBtn");

    QVERIFY(test.installButton->isEnabled());
    QVERIFY(test.backButton->isEnabled());
    QCOMPARE(test.status->text(), before);
    // The child made for it waits for the next attempt.
    const auto *child = test.window.findChild<QProcess *>();
    QVERIFY(child);
    QCOMPARE(child->state(), QProcess::NotRunning);
    QVERIFY(tool.runs().isEmpty());
}

void FirmwareUpdateTest::theEndAfterAnUnknownDeviceArrivesTwice()
{
    const MessageCapture messages;
    const FlashingTool tool("echo flashed");
    FirmwareWindow test("mirzel");
    test.click("installFwBtn");
    test.choose("Mirzel");
    test.call("showFirmwareUpdatePage");

    test.click("installFwBtn");

    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(done), patienceMs());
    QTRY_VERIFY_WITH_TIMEOUT(test.window.findChildren<QProcess *>().isEmpty(), patienceMs());
    QVERIFY(test.backButton->isEnabled());
    // So does the output, of which the second slot finds nothing left.
    QCOMPARE(printed(messages), QStringList({"\"flashed\\n\"", "\"\""}));

    // The next run has a child of its own, connected once.
    test.call("showFirmwareUpdatePage");
    test.click("installFwBtn");
    QTRY_COMPARE_WITH_TIMEOUT(tool.runs().size(), 2, patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(done), patienceMs());
    QCOMPARE(printed(messages), QStringList({"\"flashed\\n\"", "\"\"", "\"flashed\\n\""}));
}

void FirmwareUpdateTest::reportsTheOutcome_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<bool>("succeeds");
    QTest::newRow("success") << QByteArray("await; exit 0") << true;
    QTest::newRow("exit code 1") << QByteArray("await; exit 1") << false;
    QTest::newRow("exit code 255") << QByteArray("await; exit 255") << false;
    QTest::newRow("crash") << QByteArray("await; kill -SEGV $$") << false;
    QTest::newRow("killed") << QByteArray("await; kill -KILL $$") << false;
    QTest::newRow("success after its outputs are closed")
        << QByteArray("exec >&- 2>&-; await; exit 0") << true;
    QTest::newRow("exit code 1 after its outputs are closed")
        << QByteArray("exec >&- 2>&-; await; exit 1") << false;
}

void FirmwareUpdateTest::reportsTheOutcome()
{
    QFETCH(QByteArray, script);
    QFETCH(bool, succeeds);
    const FlashingTool tool(script);
    const FirmwareWindow test("Mirzel");
    test.click("installFwBtn");
    QTRY_COMPARE_WITH_TIMEOUT(tool.runs().size(), 1, patienceMs());
    QVERIFY(test.isInstalling());
    QCOMPARE(test.status->text(), QString(installing));
    QCOMPARE(test.window.findChild<QProcess *>()->openMode(), QIODevice::ReadWrite);

    tool.release();

    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(succeeds ? done : failed), patienceMs());
    QCOMPARE(test.installButton->isEnabled(), !succeeds);
    QVERIFY(test.backButton->isEnabled());
    QCOMPARE(test.page(), QByteArray("pageNoFirmware"));
    QTRY_VERIFY_WITH_TIMEOUT(test.window.findChildren<QProcess *>().isEmpty(), patienceMs());
}

void FirmwareUpdateTest::aCrashWithoutAnExitCodeIsAnError()
{
    FirmwareWindow test("Mirzel");
    test.installButton->setEnabled(false);

    QVERIFY(QMetaObject::invokeMethod(&test.window, "firmwareUpdateFinished", Q_ARG(int, 0),
                                      Q_ARG(QProcess::ExitStatus, QProcess::CrashExit)));

    QCOMPARE(test.status->text(), QString(failed));
    QVERIFY(test.installButton->isEnabled());
}

void FirmwareUpdateTest::aRunAfterAnErrorCanSucceed()
{
    // The second run finds the mark that the first has left.
    const FlashingTool tool(R"([ -e "$folder/ran" ] || { touch "$folder/ran"; exit 1; })");
    const FirmwareWindow test("Mirzel");

    test.click("installFwBtn");
    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(failed), patienceMs());
    test.click("installFwBtn");

    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(done), patienceMs());
    QCOMPARE(tool.runs().size(), 2);
}

void FirmwareUpdateTest::leavingThePageDisconnects()
{
    const FlashingTool tool("exit 0");
    const FirmwareWindow test("Mirzel");
    test.click("installFwBtn");
    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(done), patienceMs());
    m_machine->plugIn(Kind::Vostrel, "ttyAMA0", "/dev/null");

    test.click("backBtn");

    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    // The ports have been scanned again: the test's own entry has given way to the board.
    const auto *box = test.find<QComboBox>("usbComboBox");
    QCOMPARE(box->count(), 1);
    QCOMPARE(box->itemText(0), QString("Vostrel"));
}

void FirmwareUpdateTest::aToolThatHangsLeavesTheRestUsable()
{
    const FlashingTool tool("await");
    const FirmwareWindow test("Mirzel");
    test.click("installFwBtn");
    QTRY_COMPARE_WITH_TIMEOUT(tool.runs().size(), 1, patienceMs());

    test.action("Help", "About")->trigger();
    QCOMPARE(test.page(), QByteArray("pageAbout"));
    test.click("backBtn_5");
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    test.click("refreshComButton");

    // Nothing but the tool's end ends the wait for it.
    QVERIFY(test.isInstalling());
    QCOMPARE(test.status->text(), QString(installing));
    tool.release();
    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(done), patienceMs());
    QVERIFY(test.backButton->isEnabled());
}

void FirmwareUpdateTest::aDirectoryThatVanishesIsTheToolsTrouble()
{
    const FlashingTool tool(R"(await; [ -f "$3" ])");
    FirmwareWindow test("Mirzel");
    m_firmware.reset();

    test.click("installFwBtn");

    QCOMPARE(test.status->text(), QString("Installing firmware  (this should take < 1 min)"));
    QTRY_COMPARE_WITH_TIMEOUT(tool.runs().size(), 1, patienceMs());
    QCOMPARE(tool.runs().constFirst().at(2), QString("/usr/share/fennix/fw/"));
    tool.release();
    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(failed), patienceMs());
    QVERIFY(test.installButton->isEnabled());
    QVERIFY(test.backButton->isEnabled());

    // The page says so when it is shown again.
    test.call("showFirmwareUpdatePage");
    QCOMPARE(test.status->text(), QString(noFirmware));
    QVERIFY(!test.installButton->isEnabled());
}

void FirmwareUpdateTest::aTalkativeToolCostsNoMemory_data()
{
    QTest::addColumn<QByteArray>("redirection");
    QTest::newRow("output") << QByteArray();
    QTest::newRow("error output") << QByteArray(" >&2");
}

void FirmwareUpdateTest::aTalkativeToolCostsNoMemory()
{
    QFETCH(QByteArray, redirection);
    const int megabytes = Soak::portion(1000, 50);
    const FlashingTool tool("yes | head -c " + QByteArray::number(megabytes) + "M" + redirection);
    const CountedMessages messages;
    const FirmwareWindow test("Mirzel");
    const int before = peakMemory();

    test.click("installFwBtn");

    const int patience = patienceMs(Soak::portion(talkTimeoutMs, shortTalkTimeoutMs));
    QVERIFY(QTest::qWaitFor([&] { return test.status->text() == done; }, patience));
    // Of each two bytes the second one is a line feed, which the trace writes as two.
    const qint64 printedBytes = redirection.isEmpty() ? megabytes * Q_INT64_C(1048576) / 2 * 3 : 0;
    QVERIFY(messages.size() >= printedBytes);
    const int growth = peakMemory() - before;
    QVERIFY2(growth < megabytes / 4, qPrintable(QString("%1 MB more").arg(growth)));
}

void FirmwareUpdateTest::printsTheOutputInPieces()
{
    const QByteArray line(1000, 'x');
    const MessageCapture messages;
    const FlashingTool tool(R"(printf 'erase "all"\n'; await; printf '%s\n' )" + line
                            + "; printf '%s' " + line);
    const FirmwareWindow test("Mirzel");
    test.click("installFwBtn");
    QTRY_COMPARE_WITH_TIMEOUT(printed(messages), QStringList({"\"erase \\\"all\\\"\\n\""}),
                              patienceMs());

    tool.release();

    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(done), patienceMs());
    QString rest = printed(messages).mid(1).join(QString());
    rest.remove('"');
    QCOMPARE(rest, QString::fromLatin1(line + "\\n" + line));
    const MessageCapture::Message &message = messages.messages().constLast();
    QCOMPARE(message.type, QtDebugMsg);
    QCOMPARE(message.file, QString("src/firmware_update.cpp"));
    QCOMPARE(message.category, QString("default"));
    // The output is shown nowhere in the window, and is no line of the log.
    QVERIFY(!test.log.text().contains("erase"));
}

void FirmwareUpdateTest::printsNothingWithoutAProcess()
{
    const MessageCapture messages;
    FirmwareWindow test("Mirzel");

    test.call("PrintStdOutput");

    QVERIFY(printed(messages).isEmpty());
}

void FirmwareUpdateTest::neverReadsTheErrorOutput()
{
    const MessageCapture messages;
    const FlashingTool tool("echo trouble >&2; echo flashed");
    const FirmwareWindow test("Mirzel");

    test.click("installFwBtn");

    QTRY_COMPARE_WITH_TIMEOUT(test.status->text(), QString(done), patienceMs());
    QCOMPARE(printed(messages), QStringList({"\"flashed\\n\""}));
}

void FirmwareUpdateTest::aMissingSudoLeavesThePageInstalling()
{
    const auto restorePath = qScopeGuard([path = qgetenv("PATH")] { qputenv("PATH", path); });
    qputenv("PATH", "/nowhere");
    const FirmwareWindow test("Mirzel");

    test.click("installFwBtn");
    const auto *child = test.window.findChild<QProcess *>();
    QTRY_COMPARE_WITH_TIMEOUT(child->state(), QProcess::NotRunning, patienceMs());
    QCOMPARE(child->error(), QProcess::FailedToStart);

    QVERIFY(test.isInstalling());
    QCOMPARE(test.status->text(), QString(installing));
}

void FirmwareUpdateTest::quittingJustWhenTheToolEndsIsPossible()
{
    const FlashingTool tool("exit 0");
    auto test = std::make_unique<FirmwareWindow>("Mirzel");
    test->click("installFwBtn");
    const QPointer<QProcess> child = test->window.findChild<QProcess *>();
    QVERIFY(child->waitForStarted());
    QVERIFY(waitUntilExited(*child));
    QVERIFY(test->isInstalling());
    const auto outcomes = outcomesOf(child, test->status);
    const MessageCapture messages;

    test.reset();

    QCOMPARE(*outcomes, QStringList(done));
    // The child went with its window, and its destructor had nothing to kill.
    QVERIFY(!child);
    QVERIFY(!messages.contains("Destroyed while process"));
}

void FirmwareUpdateTest::theToolMayEndWhileTheWindowDisappears()
{
    const FlashingTool tool("await");
    auto test = std::make_unique<FirmwareWindow>("Mirzel");
    test->click("installFwBtn");
    const QPointer<QProcess> child = test->window.findChild<QProcess *>();
    QVERIFY(child->waitForStarted());
    const auto outcomes = outcomesOf(child, test->status);
    // The child's end is among the events that the window's end delivers.
    HideWatch watch([&] {
        tool.release();
        QMetaObject::invokeMethod(
            child, [child] { child->waitForFinished(); }, Qt::QueuedConnection);
    });
    test->window.installEventFilter(&watch);

    test.reset();

    QCOMPARE(*outcomes, QStringList(done));
    QVERIFY(!child);
}

void FirmwareUpdateTest::quittingHidesTheWindowForARunningTool_data()
{
    QTest::addColumn<QString>("device");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<bool>("hides");
    QTest::newRow("a tool that runs") << "Mirzel" << QByteArray() << true;
    QTest::newRow("a tool never started") << "mirzel" << QByteArray() << false;
    QTest::newRow("a tool that failed to start") << "Mirzel" << QByteArray("/nowhere") << false;
}

void FirmwareUpdateTest::quittingHidesTheWindowForARunningTool()
{
    QFETCH(QString, device);
    QFETCH(QByteArray, path);
    QFETCH(bool, hides);
    const FlashingTool tool("await");
    if (!path.isEmpty())
        qputenv("PATH", path);
    bool hasHidden = false;
    HideWatch watch([&] {
        hasHidden = true;
        tool.release();
    });
    auto test = std::make_unique<FirmwareWindow>(device);
    test->click("installFwBtn");
    const auto *child = test->window.findChild<QProcess *>();
    QTRY_VERIFY_WITH_TIMEOUT(child->state() != QProcess::Starting, patienceMs());
    test->window.installEventFilter(&watch);

    test.reset();

    QCOMPARE(hasHidden, hides);
}

QTEST_MAIN(FirmwareUpdateTest)

#include "tst_firmware_update.moc"
