#include "chance.h"
#include "parser_check.h"

#include <QtTest>

namespace {

const QLatin1String corpus(CORPUS_FOLDER "/parser");

/** Makes scripts of what means something to the parser, and of noise. */
class ScriptGenerator : private Chance
{
public:
    explicit ScriptGenerator(quint32 seed)
        : Chance(seed)
    { }

    QByteArray script()
    {
        QByteArray script;
        for (int i = number(1, 24); i > 0; --i)
            script += piece();
        return script;
    }

private:
    /** With what its length byte says, or a little less or more. */
    QByteArray record()
    {
        const int length = number(0, 3) == 0 ? number(0, 255) : number(0, 20);
        const int surplus = number(0, 3) == 0 ? number(-2, 2) : 0;
        return '\1' + QByteArray(1, static_cast<char>(length))
            + bytes(std::max(0, length + surplus)) + '\4';
    }

    /** The beginning of @p text, or all of it. */
    QByteArray start(const QByteArray &text)
    {
        return number(0, 2) == 0 ? text.left(number(1, text.size())) : text;
    }

    QByteArray digits()
    {
        return number(0, 3) == 0 ? bytes(2)
                                 : QByteArray::number(number(0, 99)).rightJustified(2, '0');
    }

    QByteArray step()
    {
        static const QByteArray steps = "||||||ooocxpurdh01234567\\";
        return '\\' + QByteArray(1, steps[number(0, steps.size() - 1)]);
    }

    QByteArray piece()
    {
        switch (number(0, 7)) {
        case 0:
            return start("HAN: ") + digits() + '\n';
        case 1:
            return start("fail!");
        case 2:
            return start("[vostrel]");
        case 3:
            return bytes(number(1, 8));
        case 4:
            return "\\k" + bytes(1);
        case 5:
            return record();
        default:
            return step();
        }
    }
};

} // namespace

/** Holds the program's link to the device against a model of it. */
class ParserModelTest : public QObject
{
    Q_OBJECT

private slots:
    void programAndModelAgreeOnTheCorpus_data();
    void programAndModelAgreeOnTheCorpus();
    void programAndModelAgreeOnRandomScripts();
};

void ParserModelTest::programAndModelAgreeOnTheCorpus_data()
{
    QTest::addColumn<int>("row");

    // Every row of the table has a script of its name; others have none.
    const QList<QByteArray> rows = ParserModel::rowNames();
    for (const QByteArray &name : rows)
        QTest::newRow(name.constData()) << rows.indexOf(name);
    const QStringList names = QDir(corpus).entryList(QDir::Files);
    for (const QString &name : names) {
        if (!rows.contains(name.toLatin1()))
            QTest::newRow(qPrintable(name)) << -1;
    }
}

void ParserModelTest::programAndModelAgreeOnTheCorpus()
{
    QFETCH(int, row);
    QFile file(QDir(corpus).filePath(QTest::currentDataTag()));
    QVERIFY(file.open(QIODevice::ReadOnly));

    ParserCheck check(file.readAll());

    QCOMPARE(check.run(), QByteArray());
    QVERIFY(row < 0 || check.model().hasTaken(row));
}

void ParserModelTest::programAndModelAgreeOnRandomScripts()
{
    constexpr quint32 scripts = 10000;
    for (quint32 number = 0; number < scripts; ++number) {
        const QByteArray script = ScriptGenerator(number).script();
        const QByteArray disagreement = ParserCheck(script).run();
        QVERIFY2(disagreement.isEmpty(),
                 QByteArray("Script " + QByteArray::number(number) + ", " + script.toHex() + ":\n"
                            + disagreement)
                     .constData());
    }
}

QTEST_GUILESS_MAIN(ParserModelTest)
#include "tst_parser_model.moc"
