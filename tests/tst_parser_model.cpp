#include "parser_check.h"

#include <QtTest>

#include <random>

namespace {

QDir corpus()
{
    return QDir(QStringLiteral(CORPUS_FOLDER "/parser"));
}

QByteArray seed(const QString &name)
{
    QFile file(corpus().filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** Makes scripts of what means something to the parser, and of noise. */
class ScriptGenerator
{
public:
    explicit ScriptGenerator(uint seed)
        : m_random(seed)
    { }

    QByteArray script()
    {
        QByteArray script;
        for (int i = number(1, 24); i > 0; --i)
            script += piece();
        return script;
    }

private:
    int number(int from, int to) { return std::uniform_int_distribution<int>(from, to)(m_random); }

    char byte() { return static_cast<char>(number(0, 255)); }

    QByteArray noise(int size)
    {
        QByteArray bytes;
        while (bytes.size() < size)
            bytes.append(byte());
        return bytes;
    }

    /** With what its length byte says, or a little less or more. */
    QByteArray record()
    {
        const int length = number(0, 3) == 0 ? number(0, 255) : number(0, 20);
        return '\1' + QByteArray(1, static_cast<char>(length))
            + noise(std::max(0, length + (number(0, 3) == 0 ? number(-2, 2) : 0))) + '\4';
    }

    /** The beginning of @p text, or all of it. */
    QByteArray start(const QByteArray &text)
    {
        return number(0, 2) == 0 ? text.left(number(1, text.size())) : text;
    }

    QByteArray digits()
    {
        return number(0, 3) == 0 ? noise(2)
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
            return noise(number(1, 8));
        case 4:
            return "\\k" + noise(1);
        case 5:
            return record();
        default:
            return step();
        }
    }

    std::mt19937 m_random;
};

} // namespace

/** Holds the program's link to the device against a model of it. */
class ParserModelTest : public QObject
{
    Q_OBJECT

private slots:
    void everyRowOfTheTableHasASeed_data();
    void everyRowOfTheTableHasASeed();
    void programAndModelAgreeOnTheCorpus_data();
    void programAndModelAgreeOnTheCorpus();
    void programAndModelAgreeOnRandomScripts();
};

void ParserModelTest::everyRowOfTheTableHasASeed_data()
{
    QTest::addColumn<int>("row");

    const QList<QByteArray> names = ParserModel::rowNames();
    for (int row = 0; row < names.size(); ++row)
        QTest::newRow(names[row].constData()) << row;
}

void ParserModelTest::everyRowOfTheTableHasASeed()
{
    QFETCH(int, row);
    const QByteArray script = seed(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(!script.isEmpty());

    ParserCheck check(script);

    QCOMPARE(check.run(), QByteArray());
    QVERIFY(check.model().hasTaken(row));
}

void ParserModelTest::programAndModelAgreeOnTheCorpus_data()
{
    QTest::addColumn<QByteArray>("script");

    const QStringList names = corpus().entryList(QDir::Files);
    for (const QString &name : names)
        QTest::newRow(qPrintable(name)) << seed(name);
}

void ParserModelTest::programAndModelAgreeOnTheCorpus()
{
    QFETCH(QByteArray, script);

    QCOMPARE(ParserCheck(script).run(), QByteArray());
}

void ParserModelTest::programAndModelAgreeOnRandomScripts()
{
    constexpr uint scripts = 10000;
    for (uint number = 0; number < scripts; ++number) {
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
