#include "allocation_count.h"
#include "debug_log.h"
#include "log_capture.h"
#include "set_clock.h"

#include <QtTest>

#include <ctime>

namespace {

void setClock(time_t seconds, suseconds_t microseconds)
{
    SetClock::seconds = seconds;
    // Later than the first reading, as at the end of a second.
    SetClock::precise = {seconds + 1, microseconds};
}

} // namespace

class DebugLogTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void writesNothingBeforeItIsInitialised();
    void writerNeedsAnyBitOfItsMask_data();
    void writerNeedsAnyBitOfItsMask();
    void isEnabledNeedsAllBitsOfItsMask_data();
    void isEnabledNeedsAllBitsOfItsMask();
    void initialisingDisablesEveryCategory();
    void stampIsLocalTimeWithMilliseconds_data();
    void stampIsLocalTimeWithMilliseconds();
    void followsAChangeOfTheTimeZone();
    void formatsLikePrintf();
    void cutsLongMessages_data();
    void cutsLongMessages();
    void writeStringDoesNotFormat();
    void writeStringIsNotCut();
    void addsNoLineEnd();
    void doesNotFlushTheStream();
    void allocatesNothing_data();
    void allocatesNothing();
    void hexadecimal_data();
    void hexadecimal();
};

void DebugLogTest::init()
{
    qputenv("TZ", "UTC-2");
    setClock(0, 0);
}

void DebugLogTest::writesNothingBeforeItIsInitialised()
{
    // The first test of the process: neither a stream nor a category is set.
    QCOMPARE(DBG_Printf(DBG_GENERAL, "lost\n"), -1);
    DBG_WriteString(DBG_GENERAL, "lost\n");
    QCOMPARE(DBG_IsEnabled(DBG_GENERAL), 0);
}

void DebugLogTest::writerNeedsAnyBitOfItsMask_data()
{
    QTest::addColumn<uint>("mask");
    QTest::addColumn<bool>("writes");
    QTest::newRow("the enabled category") << 0x0001U << true;
    QTest::newRow("another category") << 0x0800U << false;
    QTest::newRow("one of two enabled") << 0x0801U << true;
    QTest::newRow("no category") << 0U << false;
}

void DebugLogTest::writerNeedsAnyBitOfItsMask()
{
    QFETCH(uint, mask);
    QFETCH(bool, writes);
    const LogCapture log;

    QCOMPARE(DBG_Printf(mask, "%s\n", "formatted"), writes ? 0 : -1);
    DBG_WriteString(mask, "as it stands\n");

    const QList<QByteArray> both = {"formatted", "as it stands"};
    QCOMPARE(log.messages(), writes ? both : QList<QByteArray>());
}

void DebugLogTest::isEnabledNeedsAllBitsOfItsMask_data()
{
    QTest::addColumn<uint>("mask");
    QTest::addColumn<int>("enabled");
    QTest::newRow("the enabled category") << 0x0001U << 1;
    QTest::newRow("another category") << 0x0800U << 0;
    QTest::newRow("one of two enabled") << 0x0801U << 0;
    QTest::newRow("no category") << 0U << 1;
}

void DebugLogTest::isEnabledNeedsAllBitsOfItsMask()
{
    QFETCH(uint, mask);
    QFETCH(int, enabled);
    const LogCapture log;

    QCOMPARE(DBG_IsEnabled(mask), enabled);
}

void DebugLogTest::initialisingDisablesEveryCategory()
{
    DBG_Init(nullptr);
    DBG_Enable(DBG_GENERAL);
    DBG_Enable(DBG_PORT_SCAN);
    QCOMPARE(DBG_IsEnabled(DBG_GENERAL | DBG_PORT_SCAN), 1);

    DBG_Init(nullptr);

    QCOMPARE(DBG_IsEnabled(DBG_GENERAL), 0);
    QCOMPARE(DBG_IsEnabled(DBG_PORT_SCAN), 0);
}

void DebugLogTest::stampIsLocalTimeWithMilliseconds_data()
{
    QTest::addColumn<int>("secondOfDay");
    QTest::addColumn<int>("microseconds");
    QTest::addColumn<QByteArray>("stamp");
    // The test's time zone is two hours ahead of the seconds given here.
    QTest::newRow("leading zeros") << 7 * 3600 + 5 * 60 + 3 << 7999 << QByteArray("09:05:03:007 ");
    QTest::newRow("no milliseconds") << 10 * 3600 << 999 << QByteArray("12:00:00:000 ");
    QTest::newRow("afternoon") << 12 * 3600 + 3 * 60 + 7 << 42000 << QByteArray("14:03:07:042 ");
    QTest::newRow("last of the day") << 22 * 3600 - 1 << 999999 << QByteArray("23:59:59:999 ");
}

void DebugLogTest::stampIsLocalTimeWithMilliseconds()
{
    QFETCH(int, secondOfDay);
    QFETCH(int, microseconds);
    QFETCH(QByteArray, stamp);
    setClock(secondOfDay, microseconds);
    const LogCapture log;

    DBG_Printf(DBG_GENERAL, "message\n");

    QCOMPARE(log.text(), stamp + "message\n");
}

void DebugLogTest::followsAChangeOfTheTimeZone()
{
    const LogCapture log;
    DBG_Printf(DBG_GENERAL, "here\n");

    qputenv("TZ", "UTC-9");
    DBG_Printf(DBG_GENERAL, "there\n");

    QCOMPARE(log.text(), QByteArray("02:00:00:000 here\n09:00:00:000 there\n"));
}

void DebugLogTest::formatsLikePrintf()
{
    const LogCapture log;

    DBG_Printf(DBG_GENERAL, "%s has %d of %04x%%\n", "port", -3, 0xab);

    QCOMPARE(log.messages(), QList<QByteArray>({"port has -3 of 00ab%"}));
}

void DebugLogTest::cutsLongMessages_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("written");
    QTest::newRow("fits") << 1021 << 1021;
    QTest::newRow("fits exactly") << 1022 << 1022;
    QTest::newRow("one too long") << 1023 << 1022;
    QTest::newRow("far too long") << 2000 << 1022;
}

void DebugLogTest::cutsLongMessages()
{
    QFETCH(int, length);
    QFETCH(int, written);
    const LogCapture log;

    QCOMPARE(DBG_Printf(DBG_GENERAL, "%s", QByteArray(length, 'x').constData()), 0);

    QCOMPARE(log.text(), "02:00:00:000 " + QByteArray(written, 'x'));
}

void DebugLogTest::writeStringDoesNotFormat()
{
    const LogCapture log;

    DBG_WriteString(DBG_GENERAL, "100 %s\n");

    QCOMPARE(log.messages(), QList<QByteArray>({"100 %s"}));
}

void DebugLogTest::writeStringIsNotCut()
{
    const LogCapture log;
    const QByteArray text(2000, 'x');

    DBG_WriteString(DBG_GENERAL, text.constData());

    QCOMPARE(log.messages(), QList<QByteArray>({text}));
}

void DebugLogTest::addsNoLineEnd()
{
    const LogCapture log;

    DBG_Printf(DBG_GENERAL, "a");
    DBG_WriteString(DBG_GENERAL, "b");

    QCOMPARE(log.text(), QByteArray("02:00:00:000 a02:00:00:000 b"));
}

void DebugLogTest::doesNotFlushTheStream()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("log");
    FILE *stream = fopen(QFile::encodeName(path).constData(), "w");
    QVERIFY(stream);
    DBG_Init(stream);
    DBG_Enable(DBG_GENERAL);

    DBG_Printf(DBG_GENERAL, "kept\n");

    QCOMPARE(QFileInfo(path).size(), 0);
    DBG_Init(nullptr);
    fclose(stream);
    QVERIFY(QFileInfo(path).size() > 0);
}

void DebugLogTest::allocatesNothing_data()
{
    QTest::addColumn<bool>("isSet");
    QTest::addColumn<QByteArray>("zone");
    QTest::newRow("a time zone by rule") << true << QByteArray("UTC-2");
    QTest::newRow("a time zone by file") << true << QByteArray(":Europe/Berlin");
    QTest::newRow("an unknown time zone") << true << QByteArray("Nowhere/Land");
    QTest::newRow("an empty time zone") << true << QByteArray("");
    QTest::newRow("the machine's time zone") << false << QByteArray();
}

void DebugLogTest::allocatesNothing()
{
    QFETCH(bool, isSet);
    QFETCH(QByteArray, zone);
    if (isSet)
        qputenv("TZ", zone);
    else
        qunsetenv("TZ");
    const int atFirst = AllocationCount::made;
    FILE *stream = fopen("/dev/null", "w");
    DBG_Init(stream);
    DBG_Enable(DBG_GENERAL);
    // The first entry reads the time zone and makes the stream's buffer.
    DBG_Printf(DBG_GENERAL, "first\n");
    QVERIFY(AllocationCount::made > atFirst);
    const int before = AllocationCount::made;

    const int result = DBG_Printf(DBG_GENERAL, "%s has %d of %04x\n", "port", -3, 0xab);
    DBG_WriteString(DBG_GENERAL, "as it stands\n");
    DBG_Printf(DBG_PORT_SCAN, "disabled\n");

    QCOMPARE(AllocationCount::made, before);
    QCOMPARE(result, 0);
    DBG_Init(nullptr);
    fclose(stream);
}

void DebugLogTest::hexadecimal_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("digits");
    QTest::newRow("nothing") << QByteArray() << QByteArray();
    QTest::newRow("upper case, leading zeros")
        << QByteArray::fromHex("00ab0f") << QByteArray("00AB0F");
    QTest::newRow("longest") << QByteArray(255, '\xfe') << QByteArray("FE").repeated(255);
}

void DebugLogTest::hexadecimal()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, digits);
    QByteArray out(2 * bytes.size() + 2, '?');
    auto *start = reinterpret_cast<uint8_t *>(out.data());

    const uint8_t *end = DBG_HexToAscii(reinterpret_cast<const uint8_t *>(bytes.constData()),
                                        static_cast<uint8_t>(bytes.size()), start);

    QCOMPARE(static_cast<int>(end - start), digits.size());
    QCOMPARE(out, digits + '\0' + '?');
}

QTEST_GUILESS_MAIN(DebugLogTest)

#include "tst_debug_log.moc"
