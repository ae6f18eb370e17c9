#include "message_capture.h"
#include "mocked_machine.h"
#include "window_under_test.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QRegularExpression>
#include <QTimer>
#include <QtTest>

#include <unistd.h>

/** The program's main(), built under another name beside the test's own. */
int fennixMain(int argc, char *argv[]);

using Simulator::MockedMachine;

namespace {

/** Leads the process's standard output into a file for as long as it lives. */
class OutputToFile
{
public:
    explicit OutputToFile(const QFile &file)
        : m_saved(dup(STDOUT_FILENO))
    {
        fflush(stdout);
        dup2(file.handle(), STDOUT_FILENO);
    }
    ~OutputToFile()
    {
        fflush(stdout);
        dup2(m_saved, STDOUT_FILENO);
        close(m_saved);
    }
    Q_DISABLE_COPY(OutputToFile)

private:
    int m_saved;
};

/** Another one than a main() would think of. */
constexpr int exitCodeOfTheLoop = 3;

/** What a user does once the window is there; the event loop calls it. */
void (*user)(MainWindow *);

void letTheUserIn()
{
    QTimer::singleShot(0, qApp, [] {
        user(WindowUnderTest::ofTheProgram());
        QCoreApplication::exit(exitCodeOfTheLoop);
    });
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(letTheUserIn)

class ProgramTest : public QObject
{
    Q_OBJECT

private slots:
    void showsItsWindowAndLogsWhatHappensAfterwards();
};

void ProgramTest::showsItsWindowAndLogsWhatHappensAfterwards()
{
    MockedMachine machine;
    machine.plugIn(MockedMachine::Kind::Vostrel, "ttyAMA0", "/dev/null");
    QTemporaryFile output;
    QVERIFY(output.open());
    static bool isVisible;
    static QString desktopEntry;
    user = [](MainWindow *window) {
        isVisible = window->isVisible();
        desktopEntry = QGuiApplication::desktopFileName();
        window->findChild<QAbstractButton *>("refreshComButton")->click();
    };

    int exitCode = -1;
    {
        char name[] = "fennix";
        char *argv[] = {name, nullptr};
        // Qt Test would print Qt's own messages on standard output.
        const MessageCapture messages;
        const OutputToFile redirection(output);
        exitCode = fennixMain(1, argv);
    }

    QCOMPARE(exitCode, exitCodeOfTheLoop);
    QVERIFY(isVisible);
    QVERIFY(QFile::exists(PACKAGING_FOLDER "/" + desktopEntry + ".desktop"));
    // The scan during the window's construction found the board, too, but is not logged.
    QVERIFY(output.seek(0));
    const QString log = QString::fromLocal8Bit(output.readAll());
    static const QRegularExpression line("^\\d\\d:\\d\\d:\\d\\d:\\d\\d\\d dev /dev/ttyAMA0\n$");
    QVERIFY2(line.match(log).hasMatch(), qPrintable(log));
}

QTEST_APPLESS_MAIN(ProgramTest)

#include "tst_program.moc"
