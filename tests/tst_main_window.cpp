#include "connection.h"
#include "message_capture.h"
#include "patience.h"
#include "plugged_device.h"
#include "window_under_test.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QDesktopServices>
#include <QLabel>
#include <QMenuBar>
#include <QMetaMethod>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTextBrowser>
#include <QTimer>
#include <QtTest>

/** Takes the place of the desktop's viewer. */
class Viewer : public QObject
{
    Q_OBJECT

public:
    Viewer() { QDesktopServices::setUrlHandler("file", this, "open"); }
    ~Viewer() override { QDesktopServices::unsetUrlHandler("file"); }

    QList<QUrl> opened;

public slots:
    void open(const QUrl &url) { opened.append(url); }
};

class MainWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void slotsStandInOrder();
    void startsOnTheStartPage();
    void describesWhatHasNoText();
    void ownsTwoSingleShotTimers();
    void listsItsMenusInOrder();
    void quits();
    void helpPagesLeadBack_data();
    void helpPagesLeadBack();
    void wiresharkHelpLeadsBackToTheConnectedPage();
    void firmwarePagesLeadToTheStartPage_data();
    void firmwarePagesLeadToTheStartPage();
    void opensTheManual();
    void everyLinkOpensTheManual_data();
    void everyLinkOpensTheManual();
    void leavesTheConnectionOpen();
    void scriptsClickWhereTheWidgetsAre_data();
    void scriptsClickWhereTheWidgetsAre();

private:
    Simulator::MockedMachine m_machine;
};

namespace {
constexpr char manualUrl[] = "file:///usr/share/fennix/manual/FENNIX-BHB-en.pdf";
} // namespace

void MainWindowTest::slotsStandInOrder()
{
    const QList<QByteArray> expected = {
        "getComPorts()",
        "devConnectClicked()",
        "devDisconnectClicked()",
        "updateGui(uint count)",
        "updateChannelComboBox(QString channel)",
        "startStopSniffing(int onOff)",
        "startSniffing()",
        "stopSniffing()",
        "changeChannel(QString channel)",
        "firmwareUpdateFinished(int exitCode, QProcess::ExitStatus exitStatus)",
        "PrintStdOutput()",
        "wiresharkHelp()",
        "showFirmwareUpdatePage()",
        "showFirmwareUpdatePageTooManyDevices()",
        "showConnectedPage()",
        "showLastPage()",
        "setComPort()",
        "showDependencies()",
        "showFwUpdateHelp()",
        "showAboutPage()",
        "openManual()",
        "tryConnectDevices()",
        "startFwUpdate()",
        "enableContinueBtn()",
    };
    const QMetaObject &meta = MainWindow::staticMetaObject;
    QList<QByteArray> methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QList<QByteArray> parameters;
        for (int p = 0; p < method.parameterCount(); ++p)
            parameters.append(method.parameterTypes().at(p) + ' ' + method.parameterNames().at(p));
        methods.append(method.name() + '(' + parameters.join(", ") + ')');
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
    }

    QCOMPARE(methods, expected);
}

void MainWindowTest::startsOnTheStartPage()
{
    const WindowUnderTest test;

    QCOMPARE(test.window.centralWidget(), test.find<QStackedWidget>("stackedWidget"));
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    QCOMPARE(test.window.windowTitle(), QString("FENNIX"));
    QCOMPARE(test.window.windowIcon().availableSizes(), QList<QSize>({QSize(48, 48)}));
    QCOMPARE(MainWindow::numberOfDevices, 0);
    QVERIFY(MainWindow::availableComPorts.empty());
}

void MainWindowTest::describesWhatHasNoText()
{
    const WindowUnderTest test;

    QAccessibleInterface *refresh =
        QAccessible::queryAccessibleInterface(test.find<QAbstractButton>("refreshComButton"));
    QAccessibleInterface *count =
        QAccessible::queryAccessibleInterface(test.find<QLabel>("label_packetCount"));

    QCOMPARE(refresh->text(QAccessible::Name), QString("Refresh the list of devices"));
    QCOMPARE(count->text(QAccessible::Description), QString("Received packets"));
    QCOMPARE(count->text(QAccessible::Name), QString("0"));
}

void MainWindowTest::ownsTwoSingleShotTimers()
{
    const WindowUnderTest test;

    const QList<QTimer *> timers =
        test.window.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly);

    QCOMPARE(timers.size(), 2);
    for (const QTimer *timer : timers) {
        QVERIFY(timer->isSingleShot());
        QVERIFY(!timer->isActive());
    }
}

void MainWindowTest::listsItsMenusInOrder()
{
    const WindowUnderTest test;

    QStringList texts;
    const QList<QAction *> menus = test.window.menuBar()->actions();
    for (const QAction *menu : menus) {
        const QList<QAction *> entries = menu->menu()->actions();
        for (const QAction *entry : entries)
            texts.append(menu->text() + ": " + entry->text());
    }

    QCOMPARE(texts,
             QStringList({"&File: Quit", "Help: Dependencies", "Help: Firmware update",
                          "Help: Manual", "Help: About"}));
    QCOMPARE(test.action("&File", "Quit")->shortcuts(),
             QKeySequence::keyBindings(QKeySequence::Quit));
}

void MainWindowTest::quits()
{
    const WindowUnderTest test;
    QTimer::singleShot(0, test.action("&File", "Quit"), &QAction::trigger);
    const QObject patience;
    QTimer::singleShot(5000, &patience, [] { QCoreApplication::exit(1); });

    QCOMPARE(QCoreApplication::exec(), 0);
}

void MainWindowTest::helpPagesLeadBack_data()
{
    QTest::addColumn<QByteArray>("page");
    QTest::addColumn<QByteArray>("backButton");
    QTest::newRow("Dependencies") << QByteArray("pageDependencies") << QByteArray("backBtn_3");
    QTest::newRow("Firmware update") << QByteArray("pageFwUpdateHelp") << QByteArray("backBtn_4");
    QTest::newRow("About") << QByteArray("pageAbout") << QByteArray("backBtn_5");
}

void MainWindowTest::helpPagesLeadBack()
{
    QFETCH(QByteArray, page);
    QFETCH(QByteArray, backButton);
    const PluggedDevice device(&m_machine);
    const WindowUnderTest test;
    QAction *entry = test.action("Help", QTest::currentDataTag());
    const auto verifyLeadsBackTo = [&](const QByteArray &origin) {
        QCOMPARE(test.page(), origin);
        entry->trigger();
        QCOMPARE(test.page(), page);
        test.click(backButton);
        QCOMPARE(test.page(), origin);
    };

    verifyLeadsBackTo("pageNotConnected");
    test.click("devConnectButton");
    verifyLeadsBackTo("pageConnected");
    test.click("devDisconnectButton");
    verifyLeadsBackTo("pageNotConnected");
}

void MainWindowTest::wiresharkHelpLeadsBackToTheConnectedPage()
{
    WindowUnderTest test;
    test.call("wiresharkHelp");

    test.click("backBtn_2");
    QCOMPARE(test.page(), QByteArray("pageConnected"));

    // From now on the help pages lead there, too.
    test.action("Help", "About")->trigger();
    test.click("backBtn_5");
    QCOMPARE(test.page(), QByteArray("pageConnected"));
}

void MainWindowTest::firmwarePagesLeadToTheStartPage_data()
{
    QTest::addColumn<QByteArray>("slot");
    QTest::addColumn<QByteArray>("page");
    QTest::addColumn<QByteArray>("backButton");
    QTest::newRow("one device") << QByteArray("showFirmwareUpdatePage")
                                << QByteArray("pageNoFirmware") << QByteArray("backBtn");
    QTest::newRow("several devices")
        << QByteArray("showFirmwareUpdatePageTooManyDevices")
        << QByteArray("pageNoFirmwareTooManyDev") << QByteArray("backBtn_6");
}

void MainWindowTest::firmwarePagesLeadToTheStartPage()
{
    QFETCH(QByteArray, slot);
    QFETCH(QByteArray, page);
    QFETCH(QByteArray, backButton);
    WindowUnderTest test;
    test.call("showConnectedPage");
    test.call(slot);
    QCOMPARE(test.page(), page);

    test.action("Help", "Dependencies")->trigger();
    test.click("backBtn_3");
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));

    // Their own button disconnects.
    test.call(slot);
    test.find<QLabel>("label_com_port")->setText("/dev/ttyUSB0");
    test.click(backButton);
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
    QCOMPARE(test.find<QLabel>("label_com_port")->text(), QString("Connecting..."));
}

void MainWindowTest::opensTheManual()
{
    const Viewer viewer;
    const WindowUnderTest test;

    test.action("Help", "Manual")->trigger();

    QCOMPARE(viewer.opened, QList<QUrl>({QUrl(manualUrl)}));
    QCOMPARE(test.page(), QByteArray("pageNotConnected"));
}

void MainWindowTest::everyLinkOpensTheManual_data()
{
    QTest::addColumn<QByteArray>("browser");
    QTest::addColumn<QString>("link");
    QTest::addColumn<bool>("isAdded");
    QTest::newRow("Linux") << QByteArray("helpTextLinux") << "#" << false;
    QTest::newRow("Windows") << QByteArray("helpTextWin") << "#" << true;
    QTest::newRow("elsewhere") << QByteArray("helpTextLinux") << "https://example.org/" << true;
}

void MainWindowTest::everyLinkOpensTheManual()
{
    QFETCH(QByteArray, browser);
    QFETCH(QString, link);
    QFETCH(bool, isAdded);
    const Viewer viewer;
    WindowUnderTest test;
    test.call("wiresharkHelp");
    auto *text = test.find<QTextBrowser>(browser);
    text->show();
    if (isAdded)
        text->setHtml(QString("<p>text</p>").repeated(99)
                      + QString("<a href=\"%1\">fennix manual</a>").arg(link));
    QTextCursor cursor = text->document()->find("fennix manual");
    cursor.setPosition(cursor.selectionStart() + 3);
    text->setTextCursor(cursor);
    text->ensureCursorVisible();
    const int scrolled = text->verticalScrollBar()->value();
    QVERIFY(scrolled > 0);
    const QPoint place = text->cursorRect().center();
    QCOMPARE(text->anchorAt(place), link);

    QTest::mouseClick(text->viewport(), Qt::LeftButton, {}, place);

    QCOMPARE(viewer.opened, QList<QUrl>({QUrl(manualUrl)}));
    // The browser itself has gone nowhere.
    QCOMPARE(text->source(), QUrl());
    QCOMPARE(text->verticalScrollBar()->value(), scrolled);
}

void MainWindowTest::leavesTheConnectionOpen()
{
    PluggedDevice device(&m_machine);
    const PortGuard ports;
    const HeldProbe probe;
    const MessageCapture messages;
    {
        const MainWindow window;
        window.findChild<QAbstractButton *>("devConnectButton")->click();
        QTRY_VERIFY_WITH_TIMEOUT(messages.contains("set channel:  11"), patienceMs());
        QVERIFY(!window.findChild<Connection *>());
    }

    // Only the end of the process closes the port: the device can still talk to it.
    device.send("HAN: 12\n");
    QTRY_VERIFY_WITH_TIMEOUT(messages.contains("set channel:  12"), patienceMs());
    QCOMPARE(device.received(), QByteArray("\nidle\n\nparms\n"));
}

void MainWindowTest::scriptsClickWhereTheWidgetsAre_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QPoint>("place");
    QFile places(BUTTON_PLACES);
    QVERIFY(places.open(QIODevice::ReadOnly));
    while (!places.atEnd()) {
        const QList<QByteArray> words = places.readLine().simplified().split(' ');
        if (!words.first().startsWith('#'))
            QTest::newRow(words.first())
                << words.first() << QPoint(words.value(1).toInt(), words.value(2).toInt());
    }
}

void MainWindowTest::scriptsClickWhereTheWidgetsAre()
{
    QFETCH(QByteArray, name);
    QFETCH(QPoint, place);
    const WindowUnderTest test;
    auto *stack = test.find<QStackedWidget>("stackedWidget");
    const auto *widget = test.find<QWidget>(name);
    for (int page = 0; page < stack->count(); ++page) {
        if (stack->widget(page)->isAncestorOf(widget))
            stack->setCurrentIndex(page);
    }

    QCOMPARE(test.window.childAt(place), widget);
    // Of the menus, the scripts click one.
    if (widget == test.window.menuBar())
        QCOMPARE(test.window.menuBar()->actionAt(place)->text(), QString("Help"));
}

QTEST_MAIN(MainWindowTest)

#include "tst_main_window.moc"
