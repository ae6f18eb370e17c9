#include "device_link.h"
#include "firmware_page_table.h"
#include "mainwindow.h"
#include "message_capture.h"
#include "patience.h"
#include "zep_receiver.h"

#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QtTest>

namespace {

/** Breaks any match in progress, then brings every state back to the start. */
constexpr char recovery[] = "x[vostrel]";
constexpr char recoveryCommands[] = "\nidle\n\nsniff\n";

/** One stream of the device and what the parser makes of it. */
struct Stream
{
    const char *name;
    QByteArray bytes;
    QStringList traces; ///< Records as length and hexadecimal digits; channels taken over.
    QStringList channels; ///< Channels reported to the window.
    int restarts; ///< Prompts recognised before the closing recovery.
};

QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

QByteArray longestRecord()
{
    QByteArray record;
    for (int i = 0; i < 255; ++i)
        record.append(static_cast<char>(i));
    return record;
}

QVector<Stream> recordStreams()
{
    const QByteArray longest = longestRecord();
    return {
        {"a record", hex("01 02 aabb 04"), {"2 aabb"}, {}, 0},
        {"an empty record", hex("01 00 55 04"), {"0 "}, {}, 0},
        {"a record with bytes behind it", hex("01 01 11 2233 04"), {"1 11"}, {}, 0},
        {"the longest record",
         hex("01 ff") + longest + hex("04"),
         {"255 " + longest.toHex()},
         {},
         0},
        {"marks inside a record", hex("01 06 0104486661ff 04"), {"6 0104486661ff"}, {}, 0},
        {"two records", hex("01 01 11 04 01 01 22 04"), {"1 11", "1 22"}, {}, 0},
        {"garbage between records", "ok\r\n" + hex("00 ff 04 01 01 22 04"), {"1 22"}, {}, 0},
        {"start byte behind a record",
         hex("01 01 11 01 01 22 04 01 01 33 04"),
         {"1 11", "1 33"},
         {},
         0},
        {"text before a late end byte",
         hex("01 01 11") + "HAN: 15\nfail!" + hex("04"),
         {"1 11"},
         {},
         0},
        {"an end byte that never comes", hex("01 01 11") + "HAN: 15\nfail!", {}, {}, 0},
    };
}

QVector<Stream> reportStreams()
{
    return {
        {"a channel report", "HAN: 26\n", {"channel 26"}, {"26"}, 0},
        {"a report between text", "\r\nparms\r\nHAN: 15\r\nok", {"channel 15"}, {"15"}, 0},
        {"a report that is no number", "HAN: x1\n", {"channel 11"}, {"x1"}, 0},
        {"bytes that are no text",
         QByteArray("HAN: \xe9\0\n", 8),
         {"channel 11"},
         {QString::fromLatin1("\xe9\0", 2)},
         0},
        {"a start byte that closes a report",
         "HAN: 26" + hex("01 02 aabb 04"),
         {"channel 26"},
         {"26"},
         0},
        {"a report and a record",
         "HAN: 13\n" + hex("01 01 11 04"),
         {"channel 13", "1 11"},
         {"13"},
         0},
        {"two reports", "HAN: 13\nHAN: 14\n", {"channel 13", "channel 14"}, {"13", "14"}, 0},
        {"a report after a broken tag", "HAXHAN: 15\n", {"channel 15"}, {"15"}, 0},
        {"an H that breaks a tag", "HAHAN: 15\n", {}, {}, 0},
        {"an f that breaks a tag", "HANfail!", {}, {}, 0},
        {"a start byte that breaks a tag", "HAN:" + hex("01 02 aabb 04"), {}, {}, 0},
        {"a failure cut short", "fail", {}, {}, 0},
        {"an f that breaks a failure", "ffail!", {}, {}, 0},
        {"an H that breaks a failure", "faiHAN: 15\n", {}, {}, 0},
        {"a start byte that breaks a failure", "fail" + hex("01 02 aabb 04"), {}, {}, 0},
        {"a failure in capitals", "FAIL!", {}, {}, 0},
    };
}

QVector<Stream> promptStreams()
{
    return {
        {"the prompt", "[vostrel]", {}, {}, 1},
        {"the prompt in a record", hex("01 10 aa") + "[vostrel]" + hex("bbcc 04"), {}, {}, 1},
        {"the prompt as a record", hex("01 09") + "[vostrel]" + hex("04"), {}, {}, 1},
        {"the prompt instead of an end byte",
         hex("01 01 11") + "[vostrel]" + hex("01 01 22 04"),
         {"1 22"},
         {},
         1},
        {"two prompts", "[vostrel][vostrel]", {}, {}, 2},
        {"a second bracket in front", "[[vostrel]", {}, {}, 0},
        {"a bracket that breaks the prompt", "[vos[vostrel]", {}, {}, 0},
        {"another name", "[vostrex]", {}, {}, 0},
        {"capitals", "[VOSTREL]", {}, {}, 0},
        {"a report that the prompt ends", "HAN: 1[vostrel]", {"channel 11"}, {"1["}, 1},
    };
}

/** Cuts @p bytes into pieces of at most @p longest bytes, the same for each seed. */
QList<QByteArray> cut(const QByteArray &bytes, int longest, quint32 seed)
{
    QRandomGenerator random(seed);
    QList<QByteArray> pieces;
    for (int position = 0; position < bytes.size(); position += pieces.last().size())
        pieces.append(bytes.mid(position, random.bounded(1, longest + 1)));
    return pieces;
}

/** Returns what the traces of all calls say, in order. */
QStringList traced(const MessageCapture &messages)
{
    static const QRegularExpression item(
        "len:  (\\d+) send:  \"([0-9a-f]*)\" \n|set channel:  (-?\\d+)");
    QString text;
    for (const MessageCapture::Message &message : messages.messages())
        text += message.text;

    QStringList traces;
    QRegularExpressionMatchIterator matches = item.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        traces.append(match.captured(3).isEmpty() ? match.captured(1) + ' ' + match.captured(2)
                                                  : "channel " + match.captured(3));
    }
    return traces;
}

QStringList texts(const QSignalSpy &spy)
{
    QStringList texts;
    for (const QList<QVariant> &arguments : spy)
        texts.append(arguments.first().toString());
    return texts;
}

/** A device that talks to the parser, and the parser's messages. */
class ParserLink : public DeviceLink
{
public:
    /** Sends @p bytes and waits until the parser has been called for them. */
    bool feed(const QByteArray &bytes)
    {
        QSignalSpy calls(&messages, &MessageCapture::captured);
        device.send(bytes);
        return !calls.isEmpty() || calls.wait(patienceMs());
    }

    /** Feeds the recovery prompt and waits until the parser has obeyed it. */
    bool recover()
    {
        const int before = restarts();
        device.send(recovery);
        return QTest::qWaitFor([&] { return restarts() == before + 1; }, patienceMs());
    }

    int restarts() const { return log.messages().count("[warning] watchdog"); }

    /** Closes and opens the port, which leaves the parser's texts as they were. */
    bool reopen()
    {
        connection.closeSerialPort();
        return open();
    }

    MessageCapture messages;
};

} // namespace

class StreamParserTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void understandsAStreamHoweverItIsCut_data();
    void understandsAStreamHoweverItIsCut();
    void tracesOneMessageForEachCall();
    void withoutAnEarForTheTraceEverythingElseStays();
    void failureClosesThePort_data();
    void failureClosesThePort();
    void failureLeavesTheProbeArmed();
    void failureDropsWhatFollows();
    void anAbandonedTagFailsTheNextOneOnce_data();
    void anAbandonedTagFailsTheNextOneOnce();
    void anAbandonedFailureFailsTheNextOneOnce();
    void closingAbandonsARecord_data();
    void closingAbandonsARecord();
    void thePromptIsWatchedAcrossAReopening();
    void theSignalPrecedesTheCheckOfTheChannel();
};

void StreamParserTest::init()
{
    MainWindow::numberOfDevices = 1;
    MainWindow::availableComPorts = {"/dev/ttyUSB0"};
}

void StreamParserTest::understandsAStreamHoweverItIsCut_data()
{
    QTest::addColumn<QList<QByteArray>>("pieces");
    QTest::addColumn<QStringList>("traces");
    QTest::addColumn<QStringList>("channels");
    QTest::addColumn<int>("restarts");

    const QVector<Stream> streams = recordStreams() + reportStreams() + promptStreams();
    for (const Stream &stream : streams) {
        const auto addRow = [&](const char *cutting, const QList<QByteArray> &pieces) {
            QTest::addRow("%s, %s", stream.name, cutting)
                << pieces << stream.traces << stream.channels << stream.restarts;
        };
        addRow("in one piece", {stream.bytes});
        addRow("byte by byte", cut(stream.bytes, 1, 0));
        addRow("in short pieces", cut(stream.bytes, 3, 1));
        addRow("in long pieces", cut(stream.bytes, 20, 2));
    }
}

void StreamParserTest::understandsAStreamHoweverItIsCut()
{
    QFETCH(QList<QByteArray>, pieces);
    QFETCH(QStringList, traces);
    QFETCH(QStringList, channels);
    QFETCH(int, restarts);
    ParserLink link;
    QVERIFY(link.openConfirmed());
    link.messages.clear();

    for (const QByteArray &piece : qAsConst(pieces))
        QVERIFY(link.feed(piece));
    QVERIFY(link.recover());

    QCOMPARE(traced(link.messages), traces);
    QCOMPARE(texts(link.channels), channels);
    QCOMPARE(link.restarts(), restarts + 1);
    QVERIFY(link.deviceReceives(QByteArray(recoveryCommands).repeated(restarts + 1)));
    QCOMPARE(link.log.messages().count("Disconnected"), 0);
}

void StreamParserTest::tracesOneMessageForEachCall()
{
    ParserLink link;
    QVERIFY(link.open());

    QVERIFY(link.feed(hex("01 02 aabb 04 01 00 55 04")));
    QVERIFY(link.feed("HAN: 12\n"));
    QVERIFY(link.feed("nothing"));

    const QVector<MessageCapture::Message> &messages = link.messages.messages();
    QCOMPARE(messages.size(), 3);
    QCOMPARE(messages.at(0).text, QString("len:  2 send:  \"aabb\" \n len:  0 send:  \"\" \n"));
    QCOMPARE(messages.at(1).text, QString("set channel:  12"));
    QCOMPARE(messages.at(2).text, QString());
    QCOMPARE(messages.at(0).type, QtDebugMsg);
    QCOMPARE(messages.at(0).function, QString("void Connection::readData()"));
    QCOMPARE(messages.at(0).file, QString("src/connection.cpp"));
    QCOMPARE(messages.at(0).category, QString("default"));
}

void StreamParserTest::withoutAnEarForTheTraceEverythingElseStays()
{
    ParserLink link;
    QVERIFY(link.open());

    QLoggingCategory::setFilterRules("default.debug=false");
    link.device.send(hex("01 02 aabb 04") + "HAN: 12\n");
    const bool arrived = QTest::qWaitFor([&] { return link.channels.size() == 1; }, patienceMs());
    QLoggingCategory::setFilterRules(QString());

    QVERIFY(arrived);
    QCOMPARE(link.packetCounts.size(), 1);
    QCOMPARE(texts(link.channels), QStringList("12"));
    QVERIFY(link.messages.messages().isEmpty());
}

void StreamParserTest::failureClosesThePort_data()
{
    addFirmwarePageRows();
}

void StreamParserTest::failureClosesThePort()
{
    QFETCH(int, devices);
    QFETCH(std::vector<QString>, ports);
    QFETCH(bool, unambiguous);
    MainWindow::numberOfDevices = devices;
    MainWindow::availableComPorts = ports;
    ParserLink link;
    QVERIFY(link.open());

    QVERIFY(link.feed("fail!"));

    QCOMPARE(link.firmwarePages.count(), unambiguous ? 1 : 0);
    QCOMPARE(link.severalDevicesPages.count(), unambiguous ? 0 : 1);
    const QList<QByteArray> expected = {
        "Disconnected",
        "number of Devices: " + QByteArray::number(devices),
        "available COM ports size: " + QByteArray::number(static_cast<int>(ports.size())),
    };
    QCOMPARE(link.log.messages().mid(3), expected);
    QVERIFY(link.deviceReceives("\nidle\n"));
    QCOMPARE(link.disconnected.count(), 0);
    QCOMPARE(link.otherDevices.count(), 0);
}

void StreamParserTest::failureLeavesTheProbeArmed()
{
    ParserLink link;
    QVERIFY(link.open());
    QVERIFY(link.feed("fail!"));
    QCOMPARE(link.firmwarePages.count(), 1);
    link.probe.release();

    QTRY_COMPARE_WITH_TIMEOUT(link.firmwarePages.count(), 2, patienceMs());

    QCOMPARE(link.log.messages().count("Disconnected"), 1);
    QCOMPARE(link.device.received(), QByteArray("\nidle\n"));
}

void StreamParserTest::failureDropsWhatFollows()
{
    ParserLink link;
    QVERIFY(link.open());

    QVERIFY(link.feed("fail!" + hex("01 02 aabb 04")));
    QVERIFY(link.reopen());
    QVERIFY(link.feed(hex("01 02 ccdd 04")));

    QCOMPARE(traced(link.messages), QStringList {"2 ccdd"});
}

void StreamParserTest::anAbandonedTagFailsTheNextOneOnce_data()
{
    QTest::addColumn<QByteArray>("abandoned");
    QTest::addColumn<QByteArray>("next");
    QTest::addColumn<QStringList>("channels");
    QTest::newRow("tag split after HA")
        << QByteArray("HA") << QByteArray("HAN: 15\nHAN: 16\n") << QStringList {"16"};
    QTest::newRow("a byte that fits the position only")
        << QByteArray("HA") << QByteArray("H: 15\nHAN: 16\n") << QStringList {"16"};
    QTest::newRow("report without digits")
        << QByteArray("HAN: ") << QByteArray("HAN: 15\nHAN: 16\n") << QStringList {"16"};
    QTest::newRow("report split after one digit")
        << QByteArray("HAN: 2") << QByteArray("HAN: 15\nHAN: 16\n") << QStringList {"21"};
    QTest::newRow("report split before its end")
        << QByteArray("HAN: 26") << QByteArray("HAN: 15\nHAN: 16\n") << QStringList {"26"};
}

void StreamParserTest::anAbandonedTagFailsTheNextOneOnce()
{
    QFETCH(QByteArray, abandoned);
    QFETCH(QByteArray, next);
    QFETCH(QStringList, channels);
    ParserLink link;
    QVERIFY(link.open());
    QVERIFY(link.feed(abandoned));
    QVERIFY(link.reopen());

    const QList<QByteArray> bytes = cut(next, 1, 0);
    for (const QByteArray &byte : bytes)
        QVERIFY(link.feed(byte));

    QCOMPARE(texts(link.channels), channels);
}

void StreamParserTest::anAbandonedFailureFailsTheNextOneOnce()
{
    ParserLink link;
    QVERIFY(link.open());
    QVERIFY(link.feed("fai"));
    QVERIFY(link.reopen());

    QVERIFY(link.feed("fail!"));
    QCOMPARE(link.firmwarePages.count(), 0);
    QVERIFY(link.feed("fail!"));
    QCOMPARE(link.firmwarePages.count(), 1);
}

void StreamParserTest::closingAbandonsARecord_data()
{
    QTest::addColumn<QByteArray>("begun");
    QTest::newRow("before its length") << hex("01");
    QTest::newRow("in its bytes") << hex("01 05 aa");
    QTest::newRow("before its end") << hex("01 01 aa");
}

void StreamParserTest::closingAbandonsARecord()
{
    QFETCH(QByteArray, begun);
    ParserLink link;
    QVERIFY(link.open());
    QVERIFY(link.feed(begun));
    QVERIFY(link.reopen());

    QVERIFY(link.feed(hex("bb 01 01 cc 04")));

    QCOMPARE(traced(link.messages), QStringList {"1 cc"});
}

void StreamParserTest::thePromptIsWatchedAcrossAReopening()
{
    ParserLink link;
    QVERIFY(link.open());
    QVERIFY(link.feed("[vost"));
    QVERIFY(link.reopen());

    QVERIFY(link.feed("rel]"));

    QCOMPARE(link.restarts(), 1);
    QVERIFY(link.deviceReceives(recoveryCommands));
}

void StreamParserTest::theSignalPrecedesTheCheckOfTheChannel()
{
    const ZepReceiver receiver;
    ParserLink link;
    QVERIFY(link.open());
    // What a receiver of the signal sets is overruled by the report.
    connect(&link.connection, &Connection::updateChannelGui, &link.connection,
            [&] { link.connection.sendU8Parameter(Connection::U8ParamChannel, 20); });

    QVERIFY(link.feed("HAN: 26\n"));

    QVERIFY(link.deviceReceives("\nchan 20\n"));
    QCOMPARE(traced(link.messages), QStringList {"channel 26"});
    link.sendRecord(QByteArray(8 + 6, 'x'));
    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), 1, patienceMs());
    QCOMPARE(static_cast<int>(receiver.datagrams().first().at(4)), 26);
}

QTEST_MAIN(StreamParserTest)

#include "tst_stream_parser.moc"
