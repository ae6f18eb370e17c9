#include "form_alone.h"
#include "golden_text.h"

#include <QDialog>
#include <QMenu>
#include <QResource>
#include <QTextBlock>
#include <QtTest>

#include <memory>

namespace {

/** A resource set of one file in the root folder, in Qt's compiled form (version 1). */
QByteArray compiledResource(const QString &fileName, const QByteArray &content)
{
    const quint32 header = 20;
    const quint32 tree = 2 * 14;
    const quint32 names = 2 + 4 + 2 * static_cast<quint32>(fileName.size());
    QByteArray blob;
    QDataStream out(&blob, QIODevice::WriteOnly);
    out.writeRawData("qres", 4);
    out << quint32(1) << header << header + tree + names << header + tree;
    out << quint32(0) << quint16(2) << quint32(1) << quint32(1); // the root: one child, node 1
    out << quint32(0) << quint16(0) << quint16(0) << quint16(1) << quint32(0);
    out << quint16(fileName.size()) << qt_hash(fileName);
    for (const QChar letter : fileName)
        out << letter.unicode();
    out << content;
    return blob;
}

template<typename... Pointers>
QVector<QObject *> vectorOf(Pointers... pointers)
{
    return {pointers...};
}

} // namespace

class FormTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void formIsAsWritten();
    void helpIsAsWritten_data();
    void helpIsAsWritten();
    void membersAreDeclaredInOrder();
    void namesAreUnique();
    void windowIsNamedOnlyIfNameless();
    void windowCannotBeShrunk();
    void windowOwnsItsBars();
    void actionsBelongToNoMenu();
    void onlyUntouchedButtonsTurnAutomaticInADialog();
    void fontsDifferInSizeOnly_data();
    void fontsDifferInSizeOnly();
    void wiresharkIconOffersNoImage();
    void wiresharkIconIsAskedForByName();
    void nineteenLinesDownAreFourBlanks();

private:
    std::unique_ptr<FormAlone> m_form;
};

void FormTest::init()
{
    m_form = std::make_unique<FormAlone>();
}

void FormTest::formIsAsWritten()
{
    QVERIFY(isGoldenText("window.txt", m_form->describe()));
}

void FormTest::helpIsAsWritten_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("helpTextWin") << "help-windows.txt";
    QTest::newRow("helpTextLinux") << "help-linux.txt";
}

void FormTest::helpIsAsWritten()
{
    QFETCH(QString, file);
    const auto *browser = m_form->window.findChild<QTextBrowser *>(QTest::currentDataTag());
    QVERIFY(isGoldenText(file, describeDocument(*browser->document())));
}

void FormTest::membersAreDeclaredInOrder()
{
    const Ui_MainWindow &ui = m_form->ui;
    const auto members = vectorOf(
        ui.actionQuit, ui.actionDependencies, ui.centralWidget, ui.verticalLayout, ui.stackedWidget,
        ui.pageNotConnected, ui.horizontalLayoutWidget, ui.horizontalLayout_2, ui.usbComboBox,
        ui.refreshComButton, ui.horizontalLayoutWidget_2, ui.horizontalLayout_3,
        ui.labelConnectionError, ui.groupBox, ui.devConnectButton, ui.layoutWidget_4,
        ui.horizontalLayout_6, ui.logo_3, nullptr, ui.version_4, ui.pageNoFirmwareTooManyDev,
        ui.label_firmwareInfo, ui.label_21, ui.backBtn_6, ui.continueBtn, ui.pageNoFirmware,
        ui.label_3, ui.label_firmwareStatus, ui.installFwBtn, ui.backBtn, ui.pageWiresharkHelp,
        ui.backBtn_2, ui.helpTextWin, ui.helpTextLinux, ui.pageDependencies, ui.backBtn_3,
        ui.label_9, ui.label_10, ui.label_11, ui.label_12, ui.label_13, ui.pageFwUpdateHelp,
        ui.label_14, ui.label_15, ui.label_16, ui.label_17, ui.backBtn_4, ui.label_22, ui.label_28,
        ui.label_29, ui.pageAbout, ui.backBtn_5, ui.label_18, ui.label_19, ui.label_20,
        ui.pageConnected, ui.devDisconnectButton, ui.groupBox_2, ui.label_2, ui.label_packetCount,
        ui.label_com_port, ui.label_4, ui.groupBox_3, ui.horizontalLayoutWidget_3,
        ui.horizontalLayout, ui.remoteIpInput, ui.groupBox_4, ui.horizontalLayoutWidget_4,
        ui.horizontalLayout_4, ui.channelSelect, nullptr, ui.OffBtn, ui.OnBtn, ui.startWsButton,
        ui.layoutWidget_3, ui.horizontalLayout_5, ui.logo_2, nullptr, ui.version_3, ui.menuBar,
        ui.statusBar);
    QCOMPARE(m_form->members(), members);

    QCOMPARE(ui.horizontalLayout_6->itemAt(1), ui.horizontalSpacer);
    QCOMPARE(ui.horizontalLayout_4->itemAt(1), ui.horizontalSpacer_2);
    QCOMPARE(ui.horizontalLayout_5->itemAt(1), ui.horizontalSpacer_3);
}

void FormTest::namesAreUnique()
{
    const QVector<QObject *> members = m_form->members();
    for (QObject *member : members) {
        if (member)
            QCOMPARE(m_form->window.findChildren<QObject *>(member->objectName()),
                     QList<QObject *> {member});
    }
}

void FormTest::windowIsNamedOnlyIfNameless()
{
    QCOMPARE(m_form->window.objectName(), QString("MainWindow"));

    QMainWindow named;
    named.setObjectName("elsewhere");
    Ui_MainWindow().setupUi(&named);
    QCOMPARE(named.objectName(), QString("elsewhere"));
}

void FormTest::windowCannotBeShrunk()
{
    m_form->window.resize(100, 100);
    QCOMPARE(m_form->window.size(), QSize(718, 534));
}

void FormTest::windowOwnsItsBars()
{
    const Ui_MainWindow &ui = m_form->ui;
    QCOMPARE(m_form->window.centralWidget(), ui.centralWidget);
    QCOMPARE(m_form->window.menuBar(), ui.menuBar);
    QCOMPARE(m_form->window.statusBar(), ui.statusBar);
    QVERIFY(ui.menuBar->actions().isEmpty());
    QVERIFY(ui.statusBar->currentMessage().isEmpty());
    QVERIFY(ui.statusBar->findChildren<QLabel *>().isEmpty());
}

void FormTest::actionsBelongToNoMenu()
{
    QVERIFY(m_form->ui.actionQuit->associatedWidgets().isEmpty());
    QVERIFY(m_form->ui.actionDependencies->associatedWidgets().isEmpty());
    QVERIFY(m_form->window.findChildren<QMenu *>().isEmpty());
}

void FormTest::onlyUntouchedButtonsTurnAutomaticInADialog()
{
    // Elsewhere they do not differ from a button whose flags were set to false.
    const QStringList untouched {"refreshComButton", "backBtn_6", "backBtn", "OffBtn"};
    const auto buttons = m_form->window.findChildren<QPushButton *>();
    QDialog dialog;
    for (QPushButton *button : buttons) {
        const bool wasAutomatic = button->autoDefault();
        button->setParent(&dialog);
        QCOMPARE(button->autoDefault(), wasAutomatic || untouched.contains(button->objectName()));
    }
}

void FormTest::fontsDifferInSizeOnly_data()
{
    QTest::addColumn<QFont>("font");
    QTest::newRow("default") << QFont();
    QTest::newRow("the user's") << QFont("a family", 40, QFont::Bold, true);
}

void FormTest::fontsDifferInSizeOnly()
{
    QFETCH(QFont, font);
    const auto labels = m_form->window.findChildren<QLabel *>();
    QHash<const QLabel *, int> ownSizes;
    for (const QLabel *label : labels) {
        if (label->testAttribute(Qt::WA_SetFont))
            ownSizes.insert(label, label->font().pointSize());
    }
    m_form->window.setFont(font);
    for (const QLabel *label : labels) {
        QFont expected = font;
        expected.setPointSize(ownSizes.value(label, font.pointSize()));
        QCOMPARE(label->font().toString(), expected.toString());
    }
}

void FormTest::wiresharkIconOffersNoImage()
{
    QCOMPARE(m_form->ui.startWsButton->iconSize(), QSize(16, 16));
    QVERIFY(m_form->ui.startWsButton->icon().availableSizes().isEmpty());
    QVERIFY(m_form->ui.OffBtn->icon().isNull());
    QVERIFY(m_form->ui.OnBtn->icon().isNull());
}

void FormTest::wiresharkIconIsAskedForByName()
{
    QFile image(":/stock_connect.png");
    QVERIFY(image.open(QIODevice::ReadOnly));
    const QByteArray set = compiledResource("wireshark.png", image.readAll());
    const auto *data = reinterpret_cast<const uchar *>(set.constData());
    QVERIFY(QResource::registerResource(data));
    QVERIFY(QFile::exists(":/wireshark.png"));
    const QList<QSize> sizes = FormAlone().ui.startWsButton->icon().availableSizes();
    QVERIFY(QResource::unregisterResource(data));
    QCOMPARE(sizes, (QList<QSize> {QSize(24, 24)}));
}

void FormTest::nineteenLinesDownAreFourBlanks()
{
    // The window puts its link to the manual there.
    QTextCursor cursor = m_form->ui.helpTextLinux->textCursor();
    cursor.movePosition(QTextCursor::Start);
    QVERIFY(cursor.movePosition(QTextCursor::Down, QTextCursor::MoveAnchor, 19));
    QCOMPARE(cursor.blockNumber() + 1, 20);
    QCOMPARE(cursor.positionInBlock(), 0);
    QCOMPARE(cursor.block().text(), QString("    "));
    QCOMPARE(cursor.block().previous().text(), QString());
}

QTEST_MAIN(FormTest)
#include "tst_form.moc"
