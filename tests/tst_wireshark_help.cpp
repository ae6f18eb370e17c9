#include "log_capture.h"
#include "mainwindow.h"
#include "mocked_machine.h"
#include "network.h"
#include "window_under_test.h"

#include <QLineEdit>
#include <QTextBlock>
#include <QTextBrowser>
#include <QtTest>

namespace {

/** Returns the commands that make an interface whose cable leads to another that is up. */
QStringList running(const QString &name, const QStringList &addresses)
{
    QStringList commands = {
        QString("link add %1 type veth peer name to-%1").arg(name),
        QString("link set to-%1 up").arg(name),
        QString("link set %1 up").arg(name),
    };
    for (const QString &address : addresses)
        commands.append(QString("address add %1 dev %2").arg(address, name));
    return commands;
}

} // namespace

class WiresharkHelpTest : public QObject
{
    Q_OBJECT

private slots:
    void guessesTheLocalAddress_data();
    void guessesTheLocalAddress();
    void logsEveryInterfaceThatQualifies();
    void showsTheLinuxInstructions();
    void theManualLinkStandsBelowTheRemoteInstructions();
    void addsNothingToTheWindowsInstructions();

private:
    const Simulator::MockedMachine m_machine;
};

void WiresharkHelpTest::guessesTheLocalAddress_data()
{
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QString>("address");
    const QStringList upOnly = {
        "link add lan0 type veth peer name to-lan0",
        "link set lan0 up",
        "address add 192.168.1.5/24 dev lan0",
    };
    const QStringList downOnly = {
        "link add lan0 type veth peer name to-lan0",
        "address add 192.168.1.5/24 dev lan0",
    };
    const QStringList loopback = {"link set lo up", "address add 10.9.8.7/24 dev lo"};

    QTest::newRow("no interface") << QStringList() << "";
    QTest::newRow("class A") << running("lan0", {"10.0.0.7/8"}) << "10.0.0.7";
    QTest::newRow("class B") << running("lan0", {"172.16.1.2/16"}) << "172.16.1.2";
    QTest::newRow("class C") << running("lan0", {"192.168.1.5/24"}) << "192.168.1.5";
    QTest::newRow("highest class C")
        << running("lan0", {"223.255.255.254/24"}) << "223.255.255.254";
    QTest::newRow("reserved") << running("lan0", {"240.1.2.3/24"}) << "";
    QTest::newRow("link-local") << running("lan0", {"169.254.10.20/16"}) << "169.254.10.20";
    QTest::newRow("several addresses, the last one")
        << running("lan0", {"192.168.1.5/24", "10.0.0.7/8"}) << "10.0.0.7";
    QTest::newRow("IPv6 only") << running("lan0", {"fd00::5/64"}) << "";
    QTest::newRow("127.0.0.2 only") << running("lan0", {"127.0.0.2/8"}) << "";
    QTest::newRow("127.0.0.2, then another interface")
        << running("lan0", {"127.0.0.2/8"}) + running("lan1", {"192.168.1.5/24"}) << "192.168.1.5";
    QTest::newRow("a tunnel only") << running("tun0", {"10.8.0.2/24"}) << "";
    QTest::newRow("a tunnel, then another interface")
        << running("tun0", {"10.8.0.2/24"}) + running("lan0", {"192.168.1.5/24"}) << "192.168.1.5";
    QTest::newRow("another tunnel") << running("tun1", {"10.8.0.2/24"}) << "10.8.0.2";
    QTest::newRow("up but not running") << upOnly << "";
    QTest::newRow("not up") << downOnly << "";
    QTest::newRow("up but not running, then another interface")
        << upOnly + running("lan1", {"10.0.0.7/8"}) << "10.0.0.7";
    QTest::newRow("loopback") << loopback << "";
}

void WiresharkHelpTest::guessesTheLocalAddress()
{
    QFETCH(QStringList, commands);
    QFETCH(QString, address);
    Network::renew();
    Network::configure(commands);

    const MainWindow window;

    QCOMPARE(window.findChild<QLineEdit *>("remoteIpInput")->text(), address);
}

void WiresharkHelpTest::logsEveryInterfaceThatQualifies()
{
    Network::renew();
    Network::configure(QStringList("link set lo up") + running("tun0", {"10.8.0.2/24"})
                       + running("first", {"127.0.0.2/8"}) + running("second", {"10.0.0.7/8"})
                       + running("third", {"10.1.0.7/8"}));
    const LogCapture log;

    const MainWindow window;

    const QList<QByteArray> messages = log.messages();
    QVERIFY(messages.contains("first (first)"));
    QVERIFY(messages.contains("second (second)"));
    QVERIFY(messages.indexOf("first (first)") < messages.indexOf("second (second)"));
    // Neither those that do not qualify nor those behind the one that was chosen.
    QVERIFY(!messages.contains("lo (lo)"));
    QVERIFY(!messages.contains("tun0 (tun0)"));
    QVERIFY(!messages.contains("third (third)"));
}

void WiresharkHelpTest::showsTheLinuxInstructions()
{
    WindowUnderTest test;
    test.call("showConnectedPage");

    test.click("startWsButton");

    QCOMPARE(test.page(), QByteArray("pageWiresharkHelp"));
    QVERIFY(test.find<QTextBrowser>("helpTextLinux")->isVisible());
    QVERIFY(!test.find<QTextBrowser>("helpTextWin")->isVisible());
}

void WiresharkHelpTest::theManualLinkStandsBelowTheRemoteInstructions()
{
    const WindowUnderTest test;
    const QTextDocument *document = test.find<QTextBrowser>("helpTextLinux")->document();

    // The twentieth paragraph held four blanks, which follow the link now.
    const QTextBlock paragraph = document->findBlockByNumber(19);
    QCOMPARE(paragraph.text(),
             QString(4, QChar(QChar::Nbsp))
                 + "(for further details consult the fennix manual)    ");
    QCOMPARE(
        document->findBlockByNumber(17).text(),
        QString("    - in FENNIX enter target machine's IP in the remote capture input field."));
    QCOMPARE(document->blockCount(), 21);

    int anchors = 0;
    for (auto it = paragraph.begin(); !it.atEnd(); ++it) {
        const QTextFragment fragment = it.fragment();
        const QTextCharFormat format = fragment.charFormat();
        if (format.isAnchor()) {
            QCOMPARE(fragment.text(), QString("fennix manual"));
            QCOMPARE(format.anchorHref(), QString("#"));
            ++anchors;
        }
        if (fragment.text().contains("consult")) {
            QVERIFY(format.fontItalic());
            QCOMPARE(format.fontPointSize(), 10.0);
        }
    }
    QCOMPARE(anchors, 1);
}

void WiresharkHelpTest::addsNothingToTheWindowsInstructions()
{
    const WindowUnderTest test;

    const QTextDocument *document = test.find<QTextBrowser>("helpTextWin")->document();

    QVERIFY(!document->toPlainText().contains("fennix manual"));
    const QTextBlock guess = document->find("guessing your ip - the command is:").block().next();
    QCOMPARE(guess.text(), QString("    "));
}

QTEST_MAIN(WiresharkHelpTest)

#include "tst_wireshark_help.moc"
