#include "form_tables.h"

#include <QMenu>
#include <QTextDocument>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>

namespace {

/** Names of the child widgets from the lowest to the topmost: Qt keeps them in that order. */
QStringList stackingOrder(const QWidget *parent)
{
    QStringList names;
    for (const QObject *child : parent->children()) {
        if (child->isWidgetType())
            names.append(child->objectName());
    }
    return names;
}

QString describe(QLayoutItem *item)
{
    if (item->widget())
        return item->widget()->objectName();
    const QSize size = item->sizeHint();
    const QSizePolicy policy = item->spacerItem()->sizePolicy();
    return QString("spacer %1x%2 policies %3 %4")
        .arg(size.width())
        .arg(size.height())
        .arg(policy.horizontalPolicy())
        .arg(policy.verticalPolicy());
}

} // namespace

class FormTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void objectStandsInItsPlace_data();
    void objectStandsInItsPlace();
    void membersFollowTheOrderOfCreation();
    void spacersAreMembers();
    void pagesAreNumberedInOrder_data();
    void pagesAreNumberedInOrder();
    void restsOnTheAboutPage();
    void siblingsAreStackedInOrder_data();
    void siblingsAreStackedInOrder();
    void layoutHoldsItsItems_data();
    void layoutHoldsItsItems();
    void windowIsNamedOnlyIfNameless();
    void windowHasItsSizeAndTitle();
    void windowCannotBeShrunk();
    void windowOwnsItsBars();
    void actionsBelongToNoMenu();
    void aboutTextIsOneRichParagraph();
    void nothingIsDisabledOrHidden();
    void bothHelpTextsOverlap();
    void helpTextsKeepTheDefaultsOfABrowser();
    void addressFieldIsEmptyAndEditable();

private:
    std::unique_ptr<Form> m_form;
};

void FormTest::init()
{
    m_form = std::make_unique<Form>();
}

void FormTest::objectStandsInItsPlace_data()
{
    QTest::addColumn<const FormObject *>("expected");
    for (const FormObject &object : formObjects)
        QTest::newRow(object.name) << &object;
}

void FormTest::objectStandsInItsPlace()
{
    QFETCH(const FormObject *, expected);
    const auto found = m_form->window.findChildren<QObject *>(expected->name);
    QCOMPARE(found.size(), 1);

    const QObject *object = found.first();
    QCOMPARE(object, expected->object(m_form->ui));
    QCOMPARE(object->metaObject()->className(), expected->className);
    QCOMPARE(object->parent()->objectName(), QString(expected->parent));
    if (!expected->geometry.isNull())
        QCOMPARE(object->property("geometry").toRect(), expected->geometry);
    if (expected->text)
        QCOMPARE(object->property(textProperty(object)).toString(), QString(expected->text));
}

void FormTest::membersFollowTheOrderOfCreation()
{
    const auto byAddress = [this](const FormObject &left, const FormObject &right) {
        return std::less<>()(left.slot(m_form->ui), right.slot(m_form->ui));
    };
    QVERIFY(std::is_sorted(std::begin(formObjects), std::end(formObjects), byAddress));
}

void FormTest::spacersAreMembers()
{
    const Ui_MainWindow &ui = m_form->ui;
    QCOMPARE(ui.horizontalLayout_6->itemAt(1), ui.horizontalSpacer);
    QCOMPARE(ui.horizontalLayout_4->itemAt(1), ui.horizontalSpacer_2);
    QCOMPARE(ui.horizontalLayout_5->itemAt(1), ui.horizontalSpacer_3);
    // Together with the objects of the table they are all that the form holds.
    QCOMPARE(sizeof(Ui_MainWindow), (std::size(formObjects) + 3) * sizeof(void *));
}

void FormTest::pagesAreNumberedInOrder_data()
{
    QTest::addColumn<int>("index");
    QTest::newRow("pageNotConnected") << 0;
    QTest::newRow("pageNoFirmwareTooManyDev") << 1;
    QTest::newRow("pageNoFirmware") << 2;
    QTest::newRow("pageWiresharkHelp") << 3;
    QTest::newRow("pageDependencies") << 4;
    QTest::newRow("pageFwUpdateHelp") << 5;
    QTest::newRow("pageAbout") << 6;
    QTest::newRow("pageConnected") << 7;
}

void FormTest::pagesAreNumberedInOrder()
{
    QFETCH(int, index);
    QCOMPARE(m_form->ui.stackedWidget->count(), 8);
    QCOMPARE(m_form->ui.stackedWidget->widget(index)->objectName(),
             QString(QTest::currentDataTag()));
}

void FormTest::restsOnTheAboutPage()
{
    QCOMPARE(m_form->ui.stackedWidget->currentIndex(), 6);
    QCOMPARE(m_form->ui.stackedWidget->currentWidget(), m_form->ui.pageAbout);
}

void FormTest::siblingsAreStackedInOrder_data()
{
    QTest::addColumn<QStringList>("lowestFirst");
    QTest::newRow("pageNotConnected")
        << QStringList {"groupBox", "horizontalLayoutWidget", "horizontalLayoutWidget_2",
                        "devConnectButton", "layoutWidget_4"};
    QTest::newRow("pageNoFirmwareTooManyDev")
        << QStringList {"label_firmwareInfo", "label_21", "backBtn_6", "continueBtn"};
    QTest::newRow("pageNoFirmware")
        << QStringList {"label_3", "label_firmwareStatus", "installFwBtn", "backBtn"};
    QTest::newRow("pageWiresharkHelp") << QStringList {"backBtn_2", "helpTextWin", "helpTextLinux"};
    QTest::newRow("pageDependencies")
        << QStringList {"backBtn_3", "label_9", "label_10", "label_11", "label_12", "label_13"};
    QTest::newRow("pageFwUpdateHelp")
        << QStringList {"label_14",  "label_15", "label_16", "label_17",
                        "backBtn_4", "label_22", "label_28", "label_29"};
    QTest::newRow("pageAbout") << QStringList {"backBtn_5", "label_18", "label_19", "label_20"};
    QTest::newRow("pageConnected")
        << QStringList {"devDisconnectButton", "groupBox_2", "startWsButton", "layoutWidget_3"};
    QTest::newRow("groupBox_2") << QStringList {"groupBox_4",        "groupBox_3",     "label_2",
                                                "label_packetCount", "label_com_port", "label_4"};
}

void FormTest::siblingsAreStackedInOrder()
{
    QFETCH(QStringList, lowestFirst);
    const auto *parent = m_form->window.findChild<QWidget *>(QTest::currentDataTag());
    QCOMPARE(stackingOrder(parent), lowestFirst);
}

void FormTest::layoutHoldsItsItems_data()
{
    const auto spacer = [](int width) {
        return QString("spacer %1x20 policies %2 %3")
            .arg(width)
            .arg(QSizePolicy::Expanding)
            .arg(QSizePolicy::Minimum);
    };
    QTest::addColumn<int>("margin");
    QTest::addColumn<QStringList>("items");
    QTest::newRow("verticalLayout") << 11 << QStringList {"stackedWidget"};
    QTest::newRow("horizontalLayout_2") << 0 << QStringList {"usbComboBox", "refreshComButton"};
    QTest::newRow("horizontalLayout_3") << 0 << QStringList {"labelConnectionError"};
    QTest::newRow("horizontalLayout_6") << 0 << QStringList {"logo_3", spacer(20), "version_4"};
    QTest::newRow("horizontalLayout") << 0 << QStringList {"remoteIpInput"};
    QTest::newRow("horizontalLayout_4")
        << 0 << QStringList {"channelSelect", spacer(40), "OffBtn", "OnBtn"};
    QTest::newRow("horizontalLayout_5") << 0 << QStringList {"logo_2", spacer(20), "version_3"};
}

void FormTest::layoutHoldsItsItems()
{
    QFETCH(int, margin);
    QFETCH(QStringList, items);
    const auto *layout = m_form->window.findChild<QBoxLayout *>(QTest::currentDataTag());
    QCOMPARE(layout->spacing(), 6);
    QCOMPARE(layout->contentsMargins(), QMargins(margin, margin, margin, margin));
    QCOMPARE(layout->parentWidget()->layout(), layout);

    QStringList found;
    for (int i = 0; i < layout->count(); ++i) {
        found.append(describe(layout->itemAt(i)));
        QCOMPARE(layout->stretch(i), 0);
        QCOMPARE(layout->itemAt(i)->alignment(), Qt::Alignment());
    }
    QCOMPARE(found, items);
}

void FormTest::windowIsNamedOnlyIfNameless()
{
    QCOMPARE(m_form->window.objectName(), QString("MainWindow"));

    QMainWindow named;
    named.setObjectName("elsewhere");
    Ui_MainWindow().setupUi(&named);
    QCOMPARE(named.objectName(), QString("elsewhere"));
}

void FormTest::windowHasItsSizeAndTitle()
{
    QCOMPARE(m_form->window.size(), QSize(718, 534));
    QCOMPARE(m_form->window.minimumSize(), QSize(718, 534));
    QCOMPARE(m_form->window.windowTitle(), QString("vkSniffer"));
    QCOMPARE(m_form->window.layoutDirection(), Qt::LeftToRight);
    QVERIFY(m_form->window.testAttribute(Qt::WA_SetLayoutDirection));
    QVERIFY(!m_form->window.autoFillBackground());
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

void FormTest::aboutTextIsOneRichParagraph()
{
    const QString html = m_form->ui.label_19->text();
    QVERIFY(Qt::mightBeRichText(html));
    QCOMPARE(html.count("<p>"), 1);
    QVERIFY(html.contains("<body><p>") && html.contains("</p></body>"));

    QTextDocument document;
    document.setHtml(html);
    QCOMPARE(document.blockCount(), 1);
    QVERIFY(document.toPlainText().contains("FENNIX"));
}

void FormTest::nothingIsDisabledOrHidden()
{
    for (const FormObject &object : formObjects) {
        const auto *widget = m_form->window.findChild<QWidget *>(object.name);
        if (!widget || widget->parentWidget() == m_form->ui.stackedWidget)
            continue;
        QVERIFY2(widget->isEnabledTo(&m_form->window), object.name);
        QVERIFY2(widget->isVisibleTo(widget->parentWidget()), object.name);
    }
    QCOMPARE(m_form->ui.usbComboBox->count(), 0);
}

void FormTest::bothHelpTextsOverlap()
{
    const Ui_MainWindow &ui = m_form->ui;
    QVERIFY(ui.helpTextWin->isVisibleTo(ui.pageWiresharkHelp));
    QVERIFY(ui.helpTextLinux->isVisibleTo(ui.pageWiresharkHelp));
    const QPoint shared =
        ui.helpTextWin->geometry().intersected(ui.helpTextLinux->geometry()).center();
    QWidget *top = ui.pageWiresharkHelp->childAt(shared);
    QVERIFY(top == ui.helpTextLinux || ui.helpTextLinux->isAncestorOf(top));
}

void FormTest::helpTextsKeepTheDefaultsOfABrowser()
{
    const QTextBrowser fresh;
    for (const QTextBrowser *browser : {m_form->ui.helpTextWin, m_form->ui.helpTextLinux}) {
        QCOMPARE(browser->isReadOnly(), fresh.isReadOnly());
        QCOMPARE(browser->openLinks(), fresh.openLinks());
        QCOMPARE(browser->openExternalLinks(), fresh.openExternalLinks());
        QCOMPARE(browser->textInteractionFlags(), fresh.textInteractionFlags());
        QCOMPARE(browser->verticalScrollBarPolicy(), fresh.verticalScrollBarPolicy());
        QCOMPARE(browser->horizontalScrollBarPolicy(), fresh.horizontalScrollBarPolicy());
    }
}

void FormTest::addressFieldIsEmptyAndEditable()
{
    QVERIFY(m_form->ui.remoteIpInput->text().isEmpty());
    QVERIFY(!m_form->ui.remoteIpInput->isReadOnly());
}

QTEST_MAIN(FormTest)
#include "tst_form.moc"
