#include "form_tables.h"
#include "recording_translator.h"

#include <QTextBlock>
#include <QTextDocument>
#include <QtTest>

#include <memory>

namespace {

enum Style { Plain = 0, Bold = 1, Italic = 2, Underlined = 4, Courier = 8, Picture = 16 };

/** Text of one format; of a picture, its name. A blank paragraph is one run without text. */
struct Run
{
    QString text;
    int style = Plain;
    double points = 11;
};

using Paragraph = QVector<Run>;

Paragraph blank()
{
    return {{""}};
}

Paragraph rule()
{
    return {{QString(118, '-')}};
}

Paragraph line(const QString &text)
{
    return {{text}};
}

Paragraph picture(int indent, const QString &name)
{
    return {{QString(indent, ' '), Plain, 8}, {name, Picture, 8}};
}

Paragraph filter(const QString &text)
{
    return {{"    - apply display filter: "}, {text, Courier}};
}

Paragraph preference(const QString &name)
{
    return {{"\tDisable "}, {'"' + name + '"', Italic}};
}

Paragraph ethernetSettings()
{
    return line("    - Ethernet Settings (in Wireshark: Edit->Preferences->Protocolls->Ethernet)");
}

Paragraph targetAddress()
{
    return line("    - in FENNIX enter target machine's IP in the remote capture input field.");
}

const char frameFilter[] = "udp.port==17754 && !icmp";

QVector<Paragraph> windowsDocument()
{
    return {
        blank(),
        {{"  "},
         {"Variant a)", Bold | Underlined},
         {" Use Wire Shark without Npcap (recommended):", Underlined}},
        blank(),
        line("    - open a terminal with Administrator rights (press windows key and type cmd):"),
        blank(),
        picture(11, ":/cmdadmin.png"),
        blank(),
        blank(),
        {{"     - add a route by entering: "},
         {"route add <your_ip> mask 255.255.255.255 <default_gateway_ip>", Italic, 10}},
        {{"       guessing your ip - the command is:", Italic, 10}},
        {{"    ", Courier}},
        blank(),
        line("    - connect to LAN Adapter in Wire Shark"),
        blank(),
        picture(8, ":/lanadaptor.PNG"),
        blank(),
        filter("udp.port==17754 && ip.ttl==128 && !icmp"),
        blank(),
        picture(9, ":/displayfilter_ttl.PNG"),
        blank(),
        blank(),
        blank(),
        line("    - in FENNIX enter your machine's IP in the remote capture input field."),
        line("    - see and apply remote capture Ethernet settings below"),
        {{"", Italic, 10}},
        rule(),
        {{"", Bold}},
        {{" "}, {"Variant b)", Bold | Underlined}, {" Use Wire Shark with Npcap:", Underlined}},
        blank(),
        line("    - connect to Npcap Loopback Adapter in Wire Shark"),
        blank(),
        picture(7, ":/npcapadapter.png"),
        blank(),
        filter(frameFilter),
        {{"", Plain, 8}},
        picture(7, ":/displayfilter.PNG"),
        blank(),
        blank(),
        blank(),
        rule(),
        blank(),
        {{"  Remote Capture:", Bold}},
        blank(),
        line("    - connect to LAN Adapter"),
        filter(frameFilter),
        ethernetSettings(),
        blank(),
        preference("Assume packets have FCS"),
        preference("Validate the ethernet checksum if possible"),
        blank(),
        targetAddress(),
        blank(),
        blank(),
        blank(),
    };
}

QVector<Paragraph> linuxDocument()
{
    return {
        blank(),
        {{"     Local Capture:", Bold}},
        line("    - connect to Loopback Adapter"),
        blank(),
        picture(7, ":/loopbackadaptor.png"),
        blank(),
        {{"    "}, {"Remote Capture:", Bold}},
        line("    - connect to LAN Adapter"),
        filter(frameFilter),
        blank(),
        picture(10, ":/displayfilter.PNG"),
        blank(),
        ethernetSettings(),
        blank(),
        preference("Assume packets have FCS"),
        preference("Validate the ethernet checksum if possible"),
        blank(),
        targetAddress(),
        blank(),
        line("    "),
        blank(),
    };
}

QString describe(const Run &run)
{
    return QString("\"%1\" style %2, %3 pt").arg(run.text).arg(run.style).arg(run.points);
}

Run runOf(const QString &text, const QTextCharFormat &format)
{
    Run run {text, Plain, format.fontPointSize()};
    if (format.fontWeight() > QFont::Normal)
        run.style |= Bold;
    if (format.fontItalic())
        run.style |= Italic;
    if (format.fontUnderline())
        run.style |= Underlined;
    if (format.fontFamily() == "courier new")
        run.style |= Courier;
    if (format.isImageFormat()) {
        run.style |= Picture;
        run.text = format.toImageFormat().name();
    }
    return run;
}

QStringList describe(const QTextBlock &block)
{
    if (block.text().isEmpty())
        return {describe(runOf({}, block.charFormat()))};
    QStringList runs;
    for (auto it = block.begin(); !it.atEnd(); ++it)
        runs.append(describe(runOf(it.fragment().text(), it.fragment().charFormat())));
    return runs;
}

} // namespace

Q_DECLARE_METATYPE(Paragraph)

class HelpDocumentsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void documentHasItsParagraphs_data();
    void documentHasItsParagraphs();
    void paragraphReadsAsWritten_data();
    void paragraphReadsAsWritten();
    void paragraphsHaveNoMargins_data();
    void paragraphsHaveNoMargins();
    void textsUseTheFontOfTheDocument_data();
    void textsUseTheFontOfTheDocument();
    void sourceIsAsTheDesignerWritesIt_data();
    void sourceIsAsTheDesignerWritesIt();
    void picturesAreInTheSet_data();
    void picturesAreInTheSet();
    void nineteenLinesDownAreFourBlanks();

private:
    QTextDocument *document(const QByteArray &browser) const
    {
        return m_form->window.findChild<QTextBrowser *>(browser)->document();
    }
    QTextDocument *current() const { return document(QTest::currentDataTag()); }
    static void addBrowserRows();

    std::unique_ptr<Form> m_form;
};

void HelpDocumentsTest::init()
{
    m_form = std::make_unique<Form>();
}

void HelpDocumentsTest::documentHasItsParagraphs_data()
{
    QTest::addColumn<int>("count");
    QTest::newRow("helpTextWin") << windowsDocument().size();
    QTest::newRow("helpTextLinux") << linuxDocument().size();
}

void HelpDocumentsTest::documentHasItsParagraphs()
{
    QFETCH(int, count);
    QCOMPARE(current()->blockCount(), count);
}

void HelpDocumentsTest::paragraphReadsAsWritten_data()
{
    QTest::addColumn<QByteArray>("browser");
    QTest::addColumn<int>("index");
    QTest::addColumn<Paragraph>("paragraph");
    const auto addRows = [](const QByteArray &browser, const QVector<Paragraph> &paragraphs) {
        for (int i = 0; i < paragraphs.size(); ++i)
            QTest::newRow(browser + " line " + QByteArray::number(i + 1))
                << browser << i << paragraphs.at(i);
    };
    addRows("helpTextWin", windowsDocument());
    addRows("helpTextLinux", linuxDocument());
}

void HelpDocumentsTest::paragraphReadsAsWritten()
{
    QFETCH(QByteArray, browser);
    QFETCH(int, index);
    QFETCH(Paragraph, paragraph);
    QStringList expected;
    for (const Run &run : paragraph)
        expected.append(describe(run));
    QCOMPARE(describe(document(browser)->findBlockByNumber(index)), expected);
}

void HelpDocumentsTest::addBrowserRows()
{
    QTest::addColumn<bool>("exists");
    QTest::newRow("helpTextWin") << true;
    QTest::newRow("helpTextLinux") << true;
}

void HelpDocumentsTest::paragraphsHaveNoMargins_data()
{
    addBrowserRows();
}

void HelpDocumentsTest::paragraphsHaveNoMargins()
{
    for (QTextBlock block = current()->begin(); block.isValid(); block = block.next()) {
        const QTextBlockFormat format = block.blockFormat();
        QCOMPARE(format.topMargin() + format.bottomMargin(), 0.0);
        QCOMPARE(format.leftMargin() + format.rightMargin(), 0.0);
        QCOMPARE(format.textIndent(), 0.0);
        QCOMPARE(format.indent(), 0);
    }
}

void HelpDocumentsTest::textsUseTheFontOfTheDocument_data()
{
    addBrowserRows();
}

void HelpDocumentsTest::textsUseTheFontOfTheDocument()
{
    for (QTextBlock block = current()->begin(); block.isValid(); block = block.next()) {
        QCOMPARE(block.charFormat().fontFamily(), QString("MS Shell Dlg 2"));
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QString family = it.fragment().charFormat().fontFamily();
            QVERIFY2(family == "MS Shell Dlg 2" || family == "courier new", qPrintable(family));
        }
    }
}

void HelpDocumentsTest::sourceIsAsTheDesignerWritesIt_data()
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

void HelpDocumentsTest::sourceIsAsTheDesignerWritesIt()
{
    QFETCH(QString, sample);
    const RecordingTranslator translator;
    m_form->ui.retranslateUi(&m_form->window);
    int documents = 0;
    for (const auto &request : translator.requests()) {
        if (!request.text.startsWith("<!DOCTYPE"))
            continue;
        QVERIFY(request.text.contains(sample));
        ++documents;
    }
    QCOMPARE(documents, 2);
}

void HelpDocumentsTest::picturesAreInTheSet_data()
{
    addBrowserRows();
}

void HelpDocumentsTest::picturesAreInTheSet()
{
    const QVector<QTextFormat> formats = current()->allFormats();
    for (const QTextFormat &format : formats) {
        const QString name = format.toImageFormat().name();
        if (format.isImageFormat())
            QVERIFY2(!QImage(name).isNull(), qPrintable(name));
    }
}

void HelpDocumentsTest::nineteenLinesDownAreFourBlanks()
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

QTEST_MAIN(HelpDocumentsTest)
#include "tst_help_documents.moc"
