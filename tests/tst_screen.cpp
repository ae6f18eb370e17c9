#include "flashing_tool.h"
#include "mocked_machine.h"
#include "patience.h"
#include "readability.h"
#include "screen.h"
#include "text_cuts.h"
#include "window_under_test.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QMenu>
#include <QTextStream>
#include <QTimer>
#include <QtTest>

/** The program's main(), built under another name beside the test's own. */
int fennixMain(int argc, char *argv[]);

namespace {

constexpr QSize formSize(718, 534);

/** A program's start takes its time on a busy machine. */
constexpr int startTimeoutMs = 12000;

void say(const QString &text)
{
    QTextStream(stdout) << text << '\n';
}

/**
 * Prints the size of the window in pixels of the screen, what cannot be read, what is cut, and
 * whether the desktop is dark or light.
 */
void look(MainWindow *window)
{
    const QSize pixels = window->grab().size();
    say(QString("%1 %2").arg(pixels.width()).arg(pixels.height()));
    say(unreadableTexts(*window).join("; "));
    say(cutTexts(*window).join("; "));
    say(QApplication::palette().window().color().lightness() < 128 ? "dark" : "light");
    QCoreApplication::quit();
}

/** Starts an installation as a user does from the page that offers it. */
void install(MainWindow *window)
{
    auto *devices = window->findChild<QComboBox *>("usbComboBox");
    devices->clear();
    devices->addItem("Mirzel");
    window->findChild<QAbstractButton *>("devConnectButton")->click();
    QMetaObject::invokeMethod(window, "showFirmwareUpdatePage");
    window->findChild<QAbstractButton *>("installFwBtn")->click();
    say(window->findChild<QLabel *>("label_firmwareStatus")->text());
    // The line that lets this user go on.
    QTextStream(stdin).readLine();
}

void closeTheWindow(MainWindow *window)
{
    install(window);
    window->close();
}

void pressControlQ(MainWindow *window)
{
    install(window);
    QTest::keyClick(window, Qt::Key_Q, Qt::ControlModifier);
}

void chooseQuit(MainWindow *window)
{
    install(window);
    const QList<QMenu *> menus = window->findChildren<QMenu *>();
    menus.constFirst()->actions().constFirst()->trigger();
}

using User = void (*)(MainWindow *);

/** What a process of this program does as the user of the window; null in the test itself. */
User user;

User userNamed(const QByteArray &name)
{
    const QMap<QByteArray, User> users = {
        {"look", look}, {"close", closeTheWindow}, {"key", pressControlQ}, {"menu", chooseQuit}};
    return users.value(name);
}

void letTheUserIn()
{
    if (!user)
        return;
    QTimer::singleShot(0, qApp, [] {
        MainWindow *window = WindowUnderTest::ofTheProgram();
        window->activateWindow();
        if (!QTest::qWaitForWindowActive(window, startTimeoutMs))
            qFatal("the window does not become active");
        user(window);
    });
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(letTheUserIn)

/** The program as a process of its own, in a window on a real screen. */
class ScreenTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { loseSomePatience(); }
    void everythingScalesTogether_data();
    void everythingScalesTogether();
    void theUsersOwnScalingGoesBefore();
    void aDarkDesktopIsReadable();
    void quittingLetsAnInstallationFinish_data();
    void quittingLetsAnInstallationFinish();

private:
    static void start(QProcess *program, const QString &userName);

    const Simulator::MockedMachine m_machine;
    const Screen m_screen;
};

void ScreenTest::start(QProcess *program, const QString &userName)
{
    program->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program->start(QCoreApplication::applicationFilePath(), {userName});
}

void ScreenTest::everythingScalesTogether_data()
{
    QTest::addColumn<int>("resolution");
    for (const int resolution : {96, 120, 144, 192})
        QTest::addRow("%d dpi", resolution) << resolution;
}

void ScreenTest::everythingScalesTogether()
{
    QFETCH(int, resolution);
    m_screen.setResolution(resolution);
    QProcess program;
    program.setProcessEnvironment(m_screen.environment());

    start(&program, "look");

    QVERIFY(program.waitForFinished(patienceMs(startTimeoutMs)));
    QCOMPARE(program.exitCode(), 0);
    const QList<QByteArray> lines = program.readAllStandardOutput().split('\n');
    const QSizeF expected = QSizeF(formSize) * resolution / 96;
    const QList<QByteArray> size = lines.at(0).split(' ');
    // Half a pixel may be rounded either way.
    QVERIFY2(std::abs(size.at(0).toInt() - expected.width()) <= 1, lines.at(0));
    QVERIFY2(std::abs(size.at(1).toInt() - expected.height()) <= 1, lines.at(0));
    QCOMPARE(lines.at(2), QByteArray());
}

void ScreenTest::theUsersOwnScalingGoesBefore()
{
    m_screen.setResolution(192);
    QProcessEnvironment environment = m_screen.environment();
    environment.insert("QT_AUTO_SCREEN_SCALE_FACTOR", "0");
    environment.insert("QT_SCALE_FACTOR", "1.5");
    QProcess program;
    program.setProcessEnvironment(environment);

    start(&program, "look");

    QVERIFY(program.waitForFinished(patienceMs(startTimeoutMs)));
    QCOMPARE(program.readAllStandardOutput().split('\n').at(0), QByteArray("1077 801"));
}

void ScreenTest::aDarkDesktopIsReadable()
{
    m_screen.setResolution(96);
    const QTemporaryDir settings;
    QVERIFY(QDir(settings.path()).mkdir("qt5ct"));
    QFile file(settings.filePath("qt5ct/qt5ct.conf"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Appearance]\n"
               "color_scheme_path=/usr/share/qt5ct/colors/darker.conf\n"
               "custom_palette=true\n");
    file.close();
    QProcessEnvironment environment = m_screen.environment();
    environment.insert("XDG_CONFIG_HOME", settings.path());
    environment.insert("QT_QPA_PLATFORMTHEME", "qt5ct");
    QProcess program;
    program.setProcessEnvironment(environment);

    start(&program, "look");

    QVERIFY(program.waitForFinished(patienceMs(startTimeoutMs)));
    const QList<QByteArray> lines = program.readAllStandardOutput().split('\n');
    QCOMPARE(lines.at(1), QByteArray());
    QCOMPARE(lines.at(2), QByteArray());
    QCOMPARE(lines.at(3), QByteArray("dark"));
}

void ScreenTest::quittingLetsAnInstallationFinish_data()
{
    QTest::addColumn<QString>("way");
    QTest::newRow("the window is closed") << "close";
    QTest::newRow("Ctrl+Q") << "key";
    QTest::newRow("the menu") << "menu";
}

void ScreenTest::quittingLetsAnInstallationFinish()
{
    QFETCH(QString, way);
    m_screen.setResolution(96);
    FirmwareDirectory firmware;
    FirmwareDirectory::addFile("fw.bin", QDateTime::currentDateTime());
    const FlashingTool tool(R"(await; yes | head -c 300000; touch "$folder/ended")");
    QProcess program;
    QProcessEnvironment environment = m_screen.environment();
    environment.insert("QT_LOGGING_RULES", "*.debug=false");
    program.setProcessEnvironment(environment);
    start(&program, way);
    QByteArray said;
    const auto installs = [&] {
        return (said += program.readAll()).contains("Installing firmware fw.bin");
    };
    QVERIFY(QTest::qWaitFor(installs, patienceMs(startTimeoutMs)));
    QVERIFY(m_screen.shows("FENNIX"));

    program.write("\n");

    QTRY_VERIFY_WITH_TIMEOUT(!m_screen.shows("FENNIX"), patienceMs());
    QCOMPARE(program.state(), QProcess::Running);
    QVERIFY(!tool.hasLeft("ended"));
    tool.release();
    QVERIFY(program.waitForFinished(patienceMs()));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    QVERIFY(tool.hasLeft("ended"));
}

int main(int argc, char *argv[])
{
    user = argc == 2 ? userNamed(argv[1]) : nullptr;
    if (user)
        return fennixMain(1, argv);
    const QCoreApplication application(argc, argv);
    ScreenTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_screen.moc"
