#include "form_alone.h"

#include <QRegularExpression>
#include <QTranslator>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

/**
 * Stands in for a translation file for as long as it lives: it remembers what was asked of it
 * and answers each text of the form with "tr:" and the text.
 */
class RecordingTranslator : public QTranslator
{
public:
    RecordingTranslator()
    {
        QCoreApplication::installTranslator(this);
        // The application itself asks for the language's direction of writing.
        asked.clear();
    }
    Q_DISABLE_COPY(RecordingTranslator)

    bool isEmpty() const override { return false; }

    QString translate(const char *context, const char *sourceText, const char *disambiguation,
                      int n) const override
    {
        const QString text = QString::fromUtf8(sourceText);
        const bool isOfTheForm = qstrcmp(context, "MainWindow") == 0 && !disambiguation && n == -1;
        asked.append(isOfTheForm ? text : "in another way: " + text);
        return isOfTheForm ? "tr:" + text : QString();
    }

    mutable QStringList asked;
};

QStringList channels()
{
    QStringList names;
    for (int channel = 11; channel <= 26; ++channel)
        names.append(QString::number(channel));
    return names;
}

QStringList items(const QComboBox *box)
{
    QStringList names;
    for (int i = 0; i < box->count(); ++i)
        names.append(box->itemText(i));
    return names;
}

/** The texts that @p form shows, in the order of its members. */
QStringList textsInOrder(const FormAlone &form)
{
    QStringList texts {form.window.windowTitle()};
    const QVector<QObject *> members = form.members();
    for (const QObject *member : members) {
        for (const char *property : {"text", "title", "placeholderText"}) {
            const QString text = member ? member->property(property).toString() : QString();
            if (!text.isEmpty())
                texts.append(text);
        }
    }
    return texts + items(form.ui.channelSelect);
}

bool isHelp(const QString &text)
{
    return text.startsWith("<!DOCTYPE");
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
    void textsAreSetInOrder();
    void helpIsAsTheDesignerWritesIt_data();
    void helpIsAsTheDesignerWritesIt();
    void textsFollowTheTranslation();
    void retranslatingRestoresEveryText();
    void retranslatingRebuildsTheChannelList_data();
    void retranslatingRebuildsTheChannelList();
    void retranslatingReportsOneClearedAndOneFilledList();

private:
    QStringList translate();

    std::unique_ptr<FormAlone> m_form;
};

void FormTextsTest::init()
{
    m_form = std::make_unique<FormAlone>();
}

/** Sets all texts again with a translator and returns what it was asked for. */
QStringList FormTextsTest::translate()
{
    const RecordingTranslator translator;
    m_form->ui.retranslateUi(&m_form->window);
    return translator.asked;
}

void FormTextsTest::textsAreSetInOrder()
{
    const QStringList expected = textsInOrder(*m_form);
    QStringList asked;
    const QStringList texts = translate();
    for (const QString &text : texts) {
        if (!isHelp(text))
            asked.append(text);
    }
    QCOMPARE(asked, expected);
}

void FormTextsTest::helpIsAsTheDesignerWritesIt_data()
{
    QTest::addColumn<QString>("sample");
    QTest::newRow("font of the body") << "<body style=\" font-family:'MS Shell Dlg 2'; "
                                         "font-size:8.25pt; font-weight:400; font-style:normal;\">";
    QTest::newRow("typed blanks") << "p, li { white-space: pre-wrap; }";
    QTest::newRow("empty paragraph") << "<p style=\"-qt-paragraph-type:empty; margin-top:0px;";
    QTest::newRow("zero indents") << "-qt-block-indent:0; text-indent:0px;";
    QTest::newRow("ampersands") << ">udp.port==17754 &amp;&amp; !icmp<";
    QTest::newRow("greater than") << "Edit-&gt;Preferences-&gt;Protocolls-&gt;Ethernet";
}

void FormTextsTest::helpIsAsTheDesignerWritesIt()
{
    QFETCH(QString, sample);
    int documents = 0;
    const QStringList texts = translate();
    for (const QString &text : texts) {
        if (!isHelp(text))
            continue;
        QVERIFY(text.contains(sample));
        ++documents;
    }
    QCOMPARE(documents, 2);
}

void FormTextsTest::textsFollowTheTranslation()
{
    static const QRegularExpression texts(R"(([tT]ext: "|[tT]itle: "|toolTip: "|item: (?=\d)))");
    const QString expected = m_form->describe().replace(texts, "\\1tr:");
    translate();
    QCOMPARE(m_form->describe().split('\n'), expected.split('\n'));
    QVERIFY(m_form->ui.helpTextWin->toPlainText().startsWith("tr:"));
    QVERIFY(m_form->ui.helpTextLinux->toPlainText().startsWith("tr:"));
}

void FormTextsTest::retranslatingRestoresEveryText()
{
    translate();
    m_form->ui.logo_2->setText("changed");
    m_form->ui.labelConnectionError->setText("changed");

    m_form->ui.retranslateUi(&m_form->window);

    FormAlone fresh;
    fresh.ui.logo_2->clear(); // a label shows a text or a picture
    QCOMPARE(m_form->describe().split('\n'), fresh.describe().split('\n'));
    QCOMPARE(m_form->ui.helpTextWin->toHtml(), fresh.ui.helpTextWin->toHtml());
    QCOMPARE(m_form->ui.helpTextLinux->toHtml(), fresh.ui.helpTextLinux->toHtml());
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

QTEST_MAIN(FormTextsTest)
#include "tst_form_texts.moc"
