#include "form_tables.h"
#include "recording_translator.h"

#include <QtTest>

#include <functional>
#include <memory>

namespace {

QStringList channels()
{
    QStringList texts;
    for (int channel = 11; channel <= 26; ++channel)
        texts.append(QString::number(channel));
    return texts;
}

QStringList items(const QComboBox *box)
{
    QStringList texts;
    for (int i = 0; i < box->count(); ++i)
        texts.append(box->itemText(i));
    return texts;
}

/** The texts of the table in its order, without those that no translation is asked for, and the
 * channels, which come last. */
QStringList translatableTexts()
{
    QStringList texts {"vkSniffer"};
    for (const FormObject &object : formObjects) {
        if (object.text && *object.text)
            texts.append(object.text);
    }
    return texts + channels();
}

/** Every change of the current item that a combo box reports, in order. */
class ChangeLog
{
public:
    explicit ChangeLog(QComboBox *box)
    {
        QObject::connect(box, QOverload<int>::of(&QComboBox::currentIndexChanged), box,
                         [this](int index) { entries.append(QString("index %1").arg(index)); });
        QObject::connect(box, &QComboBox::currentTextChanged, box,
                         [this](const QString &text) { entries.append("text " + text); });
    }

    QStringList entries;
};

} // namespace

using Change = std::function<void(QComboBox *)>;
Q_DECLARE_METATYPE(Change)

class FormTextsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void textsBelongToOneContext();
    void textsAreSetInOrder();
    void textFollowsTheTranslation_data();
    void textFollowsTheTranslation();
    void titleAndRichTextsFollowTheTranslation();
    void retranslatingRestoresEveryText();
    void channelListStartsAtTheFirst();
    void retranslatingRebuildsTheChannelList_data();
    void retranslatingRebuildsTheChannelList();
    void retranslatingReportsOneClearedAndOneFilledList();
    void channelsFollowTheTranslation();

private:
    std::unique_ptr<Form> m_form;
};

void FormTextsTest::init()
{
    m_form = std::make_unique<Form>();
}

void FormTextsTest::textsBelongToOneContext()
{
    const RecordingTranslator translator;
    m_form->ui.retranslateUi(&m_form->window);
    QVERIFY(!translator.requests().isEmpty());
    for (const auto &request : translator.requests()) {
        QCOMPARE(request.context, QByteArray("MainWindow"));
        QVERIFY2(request.disambiguation.isNull(), qPrintable(request.text));
        QCOMPARE(request.n, -1);
    }
}

void FormTextsTest::textsAreSetInOrder()
{
    const RecordingTranslator translator;
    m_form->ui.retranslateUi(&m_form->window);
    QStringList asked;
    for (const auto &request : translator.requests()) {
        if (!Qt::mightBeRichText(request.text))
            asked.append(request.text);
    }
    QCOMPARE(asked, translatableTexts());
}

void FormTextsTest::textFollowsTheTranslation_data()
{
    QTest::addColumn<const FormObject *>("row");
    for (const FormObject &object : formObjects) {
        if (object.text)
            QTest::newRow(object.name) << &object;
    }
}

void FormTextsTest::textFollowsTheTranslation()
{
    QFETCH(const FormObject *, row);
    {
        const RecordingTranslator translator;
        m_form->ui.retranslateUi(&m_form->window);
    }
    const QObject *object = row->object(m_form->ui);
    const QString text = object->property(textProperty(object)).toString();
    QCOMPARE(text, *row->text ? QString("tr:") + row->text : QString());
}

void FormTextsTest::titleAndRichTextsFollowTheTranslation()
{
    {
        const RecordingTranslator translator;
        m_form->ui.retranslateUi(&m_form->window);
    }
    QCOMPARE(m_form->window.windowTitle(), QString("tr:vkSniffer"));
    QVERIFY(m_form->ui.label_19->text().startsWith("tr:<"));
    QVERIFY(m_form->ui.helpTextWin->toPlainText().startsWith("tr:"));
    QVERIFY(m_form->ui.helpTextLinux->toPlainText().startsWith("tr:"));
}

void FormTextsTest::retranslatingRestoresEveryText()
{
    {
        const RecordingTranslator translator;
        m_form->ui.retranslateUi(&m_form->window);
    }
    m_form->ui.logo_2->setText("changed");
    m_form->ui.labelConnectionError->setText("changed");

    m_form->ui.retranslateUi(&m_form->window);

    const Form fresh;
    QCOMPARE(m_form->window.windowTitle(), fresh.window.windowTitle());
    for (const FormObject &row : formObjects) {
        const QObject *object = row.object(m_form->ui);
        QCOMPARE(object->property(textProperty(object)),
                 row.object(fresh.ui)->property(textProperty(object)));
    }
    QCOMPARE(m_form->ui.helpTextWin->toHtml(), fresh.ui.helpTextWin->toHtml());
    QCOMPARE(m_form->ui.helpTextLinux->toHtml(), fresh.ui.helpTextLinux->toHtml());
}

void FormTextsTest::channelListStartsAtTheFirst()
{
    QCOMPARE(items(m_form->ui.channelSelect), channels());
    QCOMPARE(m_form->ui.channelSelect->currentIndex(), 0);
    QCOMPARE(m_form->ui.channelSelect->currentText(), QString("11"));
    QVERIFY(!m_form->ui.channelSelect->isEditable());
}

void FormTextsTest::retranslatingRebuildsTheChannelList_data()
{
    QTest::addColumn<Change>("change");
    QTest::newRow("untouched") << Change([](QComboBox *) {});
    QTest::newRow("another one selected")
        << Change([](QComboBox *box) { box->setCurrentIndex(9); });
    QTest::newRow("none selected") << Change([](QComboBox *box) { box->setCurrentIndex(-1); });
    QTest::newRow("item added") << Change([](QComboBox *box) { box->addItem("27"); });
    QTest::newRow("item put first") << Change([](QComboBox *box) { box->insertItem(0, "10"); });
    QTest::newRow("item removed") << Change([](QComboBox *box) { box->removeItem(3); });
    QTest::newRow("item renamed") << Change([](QComboBox *box) { box->setItemText(5, "changed"); });
    QTest::newRow("emptied") << Change([](QComboBox *box) { box->clear(); });
}

void FormTextsTest::retranslatingRebuildsTheChannelList()
{
    QFETCH(Change, change);
    QComboBox *box = m_form->ui.channelSelect;
    change(box);
    m_form->ui.retranslateUi(&m_form->window);
    QCOMPARE(items(box), channels());
    QCOMPARE(box->currentText(), QString("11"));
}

void FormTextsTest::retranslatingReportsOneClearedAndOneFilledList()
{
    QComboBox reference;
    reference.addItems(channels());
    reference.setCurrentIndex(4);
    const ChangeLog expected(&reference);
    reference.clear();
    reference.insertItems(0, channels());

    m_form->ui.channelSelect->setCurrentIndex(4);
    const ChangeLog log(m_form->ui.channelSelect);
    m_form->ui.retranslateUi(&m_form->window);
    QCOMPARE(log.entries, expected.entries);
    QCOMPARE(log.entries, (QStringList {"index -1", "text ", "index 0", "text 11"}));
}

void FormTextsTest::channelsFollowTheTranslation()
{
    const RecordingTranslator translator;
    m_form->ui.retranslateUi(&m_form->window);
    QStringList translated = channels();
    for (QString &text : translated)
        text.prepend("tr:");
    QCOMPARE(items(m_form->ui.channelSelect), translated);
}

QTEST_MAIN(FormTextsTest)
#include "tst_form_texts.moc"
