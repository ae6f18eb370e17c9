#include "frame_check_sequence.h"
#include "packet_file.h"
#include "soak.h"
#include "traffic.h"
#include "tshark.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QUdpSocket>
#include <QtTest>

#include <algorithm>
#include <csignal>

using Simulator::Traffic;
using Simulator::withFrameCheckSequence;
using From = PacketFile::From;
using Source = PacketFile::Source;

namespace {

constexpr int startTimeoutMs = 60000;
constexpr quint16 firstPort = 40000;

/** A command without addresses, of @p size bytes with its check sequence. */
QByteArray frameOfSize(int size)
{
    const QByteArray frame = QByteArray::fromHex("0300 2a");
    return withFrameCheckSequence(frame.leftJustified(size - 2, '\x5a'));
}

/** A sound frame whose very last bit, the one Wireshark by itself looks at, is @p bit. */
QByteArray frameEndingWith(bool bit)
{
    QByteArray frame = frameOfSize(20);
    while (((frame.at(frame.size() - 1) & 0x80) != 0) != bit)
        frame = frameOfSize(frame.size() + 1);
    return frame;
}

QByteArray damaged(QByteArray frame)
{
    constexpr int inTheMiddle = 12;
    frame[inTheMiddle] = static_cast<char>(frame.at(inTheMiddle) ^ 1);
    return frame;
}

/** A frame with a radio chip's trailer in place of the check sequence: RSSI, LQI and verdict. */
QByteArray withTrailer(bool isSound)
{
    return frameOfSize(30).chopped(2) + '\xc4' + (isSound ? '\xeb' : '\x6b');
}

/** Sound or to be cut, damaged, with a trailer: capitals are those that Wireshark by itself takes
 * for sound. */
QByteArray frameOfKind(QChar kind)
{
    switch (kind.toLatin1()) {
    case 'S':
        return frameEndingWith(true);
    case 's':
    case 'x':
        return frameEndingWith(false);
    case 'D':
        return damaged(frameEndingWith(true));
    case 'd':
        return damaged(frameEndingWith(false));
    case 'T':
        return withTrailer(true);
    default:
        return withTrailer(false);
    }
}

/** The kinds of frames that a sender sends, and which of them are to be marked. */
struct Kinds
{
    const char *name;
    QString sent;
    QString marks;
};

const QVector<Kinds> &kinds()
{
    const QString fifteen(15, 'D');
    const QString marks(15, '!');
    static const QVector<Kinds> rows {
        {"sound from the first", "sSsS", "...."},
        {"two are no proof", "sSDd", "...!"},
        {"three are", "sSsDds", "...!!."},
        {"three, but not in succession", "sSTsSDd", "......!"},
        {"a radio chip's trailers", "tTTt", "!..!"},
        {"a trailer that fits by chance", "TsTtTD", "...!.."},
        {"fifteen damaged", "sSs" + fifteen + "sD", "..." + marks + ".!"},
        {"sixteen damaged", "sSs" + fifteen + "DDd", "..." + marks + "..!"},
        {"sixteen, but not in succession", "sSs" + fifteen + "s" + fifteen,
         "..." + marks + "." + marks},
        {"a trailer just before", "TsSsD", "....!"},
        {"cut by the capture", "sSs" + QString(20, 'x') + "D", "..." + QString(20, '.') + "!"},
        {"known again", "sSs" + fifteen + "DsSsD", "..." + marks + "....!"},
    };
    return rows;
}

/** What a sender sends, and what is to be said of it. */
struct Numbers
{
    const char *name;
    /**
     * A number is a frame of data; with the letter a it is an acknowledgement, with q it is quoted
     * by an error message, and with @ or # it comes from the same port of another address.
     */
    QString sent;
    QString firstPass; ///< The numbers after which something is missing, and how much.
    QString secondPass; ///< Likewise.
    QString summary; ///< Frames, acknowledgements among them, missing, percent.
};

QString from(int first, int last)
{
    QStringList words;
    for (int number = first; number <= last; ++number)
        words.append(QString::number(number));
    return words.join(' ');
}

const QVector<Numbers> &numbers()
{
    static const QVector<Numbers> rows {
        {"none missing", "1 2 3", "", "", "3 0 0 0.00"},
        {"one", "1 3", "3:1", "3:1", "2 0 1 33.33"},
        {"two", "1 4 5", "4:2", "4:2", "3 0 2 40.00"},
        {"a thousand", "1 1002", "1002:1000", "1002:1000", "2 0 1000 99.80"},
        {"captured from the middle", "500 501", "", "", "2 0 0 0.00"},
        {"acknowledgements", "1 2a 3 5a 7", "5:1 7:1", "5:1 7:1", "5 2 2 28.57"},
        {"an acknowledgement of nobody yet", "3a 7 8a", "", "", "2 1 0 0.00"},
        {"late", "1 3 2 4", "3:1", "", "4 0 0 0.00"},
        {"two of three late", "1 5 4 2a 6", "5:3", "5:1", "5 1 1 16.67"},
        {"later than sixteen", "1 " + from(3, 30) + " 2", "3:1", "", "30 0 0 0.00"},
        {"doubled", "1 2 2 3 3 2", "", "", "3 0 0 0.00"},
        {"doubled at a gap", "1 2 1003 2", "1003:1000", "1003:1000", "3 0 1000 99.70"},
        {"doubled and late", "1 4 2 2 5", "4:2", "4:1", "4 0 1 20.00"},
        {"sixteen are remembered", from(1, 17) + " 2 18", "", "", "18 0 0 0.00"},
        {"a seventeenth is a restart", from(1, 18) + " 2 3", "", "", "20 0 0 0.00"},
        {"quoted", "1 1q 2 2q 1q 3", "", "", "3 0 0 0.00"},
        {"only quoted", "1 2q 3 9q", "3:1", "3:1", "2 0 1 33.33"},
        {"restarted", "100 101 1 2 5", "5:2", "5:2", "5 0 2 28.57"},
        {"restarted after a gap", "100 105 1 2", "105:4", "105:4", "4 0 4 50.00"},
        {"wrapped", "4294967294 4294967295 0 1", "", "", "4 0 0 0.00"},
        {"missing at the wrap", "4294967295 2", "2:2", "2:2", "2 0 2 50.00"},
        {"late at the wrap", "4294967294 2 4294967295 0 1", "2:3", "", "5 0 0 0.00"},
        {"another address", "1 2@ 3@ 4 5@ 6", "", "", "3 0 0 0.00"},
        {"lost on the way to it", "1 2 5@ 6@ 7", "7:2", "7:2", "3 0 2 40.00"},
        {"lost on the way back", "1 2@ 3@ 6", "6:2", "6:2", "2 0 2 50.00"},
        {"lost there", "1 2@ 5@ 6@ 7", "5:2", "5:2", "2 0 0 0.00"},
        {"lost there, named once", "1 2@ 3 6@ 7", "6:2", "6:2", "3 0 0 0.00"},
        {"three addresses", "1 2@ 3# 4@ 5", "", "", "2 0 0 0.00"},
        {"another address at the wrap", "4294967295 0@ 1@ 2", "", "", "2 0 0 0.00"},
        {"three addresses, and lost between", "1 2@ 3# 4 5# 8@ 9@", "8:2", "8:2", "2 0 0 0.00"},
        {"another address after a restart", "100 1 2 3@ 4 5@", "", "", "4 0 0 0.00"},
        {"a late one after a restart", "1 200 " + from(201, 220) + " 1 2 5 4 6", "200:198 5:2",
         "200:198 5:1", "27 0 199 88.05"},
        {"the first two swapped", "5 4 6 7", "", "", "4 0 0 0.00"},
        {"another program's same port", "1 100@ 2 101@ 5 102@ 104@", "5:2 104:1", "5:2 104:1",
         "3 0 2 40.00"},
        {"another program's numbers before", "1@ 2@ 3@ 4@ 1 2 5", "5:2", "5:2", "3 0 2 40.00"},
        {"the same numbers elsewhere", "1 1@ 2 2@ 5 3@ 4@ 5@", "5:2", "5:2", "3 0 2 40.00"},
    };
    return rows;
}

void addNumber(PacketFile *file, const QString &word, quint16 port)
{
    static const QRegularExpression letters("\\D");
    const quint32 number = QString(word).remove(letters).toUInt();
    const QByteArray data = Zep::data(number, frameOfSize(30));
    Source source {"127.0.0.1", port};
    if (word.contains('@'))
        source.address = "192.168.1.20";
    if (word.contains('#'))
        source.address = "10.0.0.7";
    if (word.contains('q'))
        file->addUnreachable(data, source);
    else
        file->add(word.contains('a') ? Zep::acknowledgement(number) : data, source);
}

void addKind(PacketFile *file, const QString &kind, quint16 port)
{
    static quint32 number = 0;
    const QByteArray data = Zep::data(++number, frameOfKind(kind.at(0)));
    if (kind == "x")
        file->addCut(data, data.size() - 1, {"127.0.0.1", port});
    else
        file->add(data, {"127.0.0.1", port});
    file->addUnreachable(data, {"127.0.0.1", port});
}

/** Captures what several @p senders send in turns, from ports one after the other. */
template<typename AddPacket>
void captureInTurns(const QString &path, const QVector<QStringList> &senders, AddPacket add)
{
    PacketFile file(path);
    const auto longest =
        std::max_element(senders.begin(), senders.end(), [](const auto &left, const auto &right) {
            return left.size() < right.size();
        });
    for (int i = 0; i < longest->size(); ++i) {
        for (int sender = 0; sender < senders.size(); ++sender) {
            if (i < senders.at(sender).size())
                add(&file, senders.at(sender).at(i), static_cast<quint16>(firstPort + sender));
        }
    }
}

void captureNumbers(const QString &path)
{
    QVector<QStringList> senders;
    for (const Numbers &row : numbers())
        senders.append(row.sent.split(' '));
    captureInTurns(path, senders, addNumber);
}

/** Captures one sound frame for each of @p numbers. */
void captureSound(const QString &path, std::initializer_list<quint32> numbers)
{
    PacketFile file(path);
    for (const quint32 number : numbers)
        file.add(Zep::data(number, frameOfKind('s')));
}

/** A dot or a mark for each packet from @p port, or for each one that an error message quotes. */
QString marksOf(const QVector<QStringList> &rows, quint16 port, bool areQuoted)
{
    QString marks;
    for (const QStringList &row : rows) {
        if (row.at(0) == QString::number(port) && row.at(1).isEmpty() != areQuoted)
            marks += row.at(2).isEmpty() ? '.' : '!';
    }
    return marks;
}

/** What is said in the list of packets about those from @p port. */
QString namedMissing(const QVector<QStringList> &rows, quint16 port)
{
    QStringList named;
    for (const QStringList &row : rows) {
        const QString missing = row.value(2);
        if (row.first() != QString::number(port) || missing.isEmpty())
            continue;
        const QString frames = missing == "1" ? "1 frame is" : missing + " frames are";
        if (row.at(3).startsWith(frames + " missing before this one"))
            named.append(row.at(1) + ':' + missing);
    }
    return named.join(' ');
}

/** What is said in the summary about the sender with @p port and this machine's address. */
QString summaryOf(const QVector<QStringList> &rows, quint16 port)
{
    for (const QStringList &row : rows) {
        const QStringList columns = row.first().simplified().split(' ');
        if (columns.mid(0, 2) == QStringList {"127.0.0.1", QString::number(port)})
            return columns.mid(5).join(' ');
    }
    return {};
}

/** What tshark prints of everything in @p file, without the plug-in's name among the layers. */
QByteArray wholeDissection(const QString &file, Tshark::PlugIn plugIn)
{
    QByteArray text = Tshark::output({"-n", "-P", "-V", "-r", file}, plugIn);
    return text.replace("udp:fennix:", "udp:");
}

} // namespace

class WiresharkPluginTest : public QObject
{
    Q_OBJECT

private slots:
    void soundFramesAreNeverMarked_data();
    void soundFramesAreNeverMarked();
    void damagedFramesAreMarkedWhenTheSenderIsKnown_data();
    void damagedFramesAreMarkedWhenTheSenderIsKnown();
    void thePacketStaysInViewAsItCame();
    void missingFramesAreNamed_data();
    void missingFramesAreNamed();
    void theFilterFindsWhatIsMissing();
    void aReloadBeginsAnew();
    void theSummaryHasALineForEachSender();
    void foreignDatagramsAreHandedOnAsTheyCame();
    void damagedCapturesAreReadToTheEnd_data();
    void damagedCapturesAreReadToTheEnd();
    void trafficWithoutZepIsDissectedAsBefore();
    void theListenerGivesWhatTheNetworkGives();
    void anotherPortCanBeChosen();
    void recognitionCanBeSwitchedOff();
    void loadedTwiceItWorksOnce();

private:
    // All senders of a table are captured at once, and each has to be told from the others.
    QVector<QStringList> dissectKinds(const QStringList &options) const;
    QVector<QStringList> dissectNumbers(const QStringList &options) const;

    QString capture() const { return m_folder.filePath("capture.pcap"); }

    const QTemporaryDir m_folder;
};

void WiresharkPluginTest::soundFramesAreNeverMarked_data()
{
    QTest::addColumn<From>("from");
    QTest::addColumn<QStringList>("options");
    QTest::newRow("network") << From::Network << QStringList {};
    QTest::newRow("network, second pass") << From::Network << QStringList {"-2"};
    QTest::newRow("listener") << From::Listener << QStringList {};
}

void WiresharkPluginTest::soundFramesAreNeverMarked()
{
    QFETCH(From, from);
    QFETCH(QStringList, options);
    constexpr int shortest = 6;
    PacketFile file(capture(), from);
    for (int size = shortest; size <= Traffic::largestFrame; ++size)
        file.add(Zep::data(static_cast<quint32>(size), frameOfSize(size)));

    const auto rows =
        Tshark::fields(capture(), {"zep.length", "wpan.fcs", "wpan.fcs.bad"}, options);

    QCOMPARE(rows.size(), Traffic::largestFrame - shortest + 1);
    for (const QStringList &row : rows) {
        const QByteArray frame = frameOfSize(row.at(0).toInt());
        const int fcs = qFromLittleEndian<quint16>(frame.constData() + frame.size() - 2);
        QCOMPARE(row.at(1).toInt(nullptr, 0), fcs);
        QVERIFY2(row.at(2).isEmpty(), qPrintable(row.at(0)));
    }
}

void WiresharkPluginTest::damagedFramesAreMarkedWhenTheSenderIsKnown_data()
{
    QTest::addColumn<quint16>("port");
    QTest::addColumn<QString>("marks");
    quint16 port = firstPort;
    for (const Kinds &row : kinds())
        QTest::newRow(row.name) << port++ << row.marks;
}

void WiresharkPluginTest::damagedFramesAreMarkedWhenTheSenderIsKnown()
{
    QFETCH(quint16, port);
    static const QVector<QStringList> firstPass = dissectKinds({});
    static const QVector<QStringList> secondPass = dissectKinds({"-2"});

    QTEST(marksOf(firstPass, port, false), "marks");
    QTEST(marksOf(secondPass, port, false), "marks");
    // What an error message quotes proves nothing, but is marked in the same way.
    QTEST(marksOf(firstPass, port, true), "marks");
    QTEST(marksOf(secondPass, port, true), "marks");
}

QVector<QStringList> WiresharkPluginTest::dissectKinds(const QStringList &options) const
{
    QVector<QStringList> senders;
    for (const Kinds &row : kinds())
        senders.append(row.sent.split("", Qt::SkipEmptyParts));
    captureInTurns(capture(), senders, addKind);
    return Tshark::fields(capture(), {"udp.srcport", "icmp.type", "wpan.fcs.bad"}, options);
}

void WiresharkPluginTest::thePacketStaysInViewAsItCame()
{
    const QByteArray datagram = Zep::data(1, frameOfSize(30));
    PacketFile(capture()).add(datagram);

    const QString text = Tshark::output({"-n", "-x", "-r", capture()});

    const auto bytes = [&](const QString &heading) {
        static const QRegularExpression line("\n[0-9a-f]{4}  ((?:[0-9a-f]{2} )+)");
        QByteArray hex;
        auto lines = line.globalMatch(text, text.indexOf(heading));
        while (lines.hasNext())
            hex += lines.next().captured(1).toLatin1();
        return QByteArray::fromHex(hex);
    };
    QVERIFY(bytes("Frame (90 bytes):").contains(datagram));
    QByteArray withMode = datagram;
    withMode[7] = 1;
    QCOMPARE(bytes("ZEP with CRC mode (62 bytes):"), withMode);
}

void WiresharkPluginTest::missingFramesAreNamed_data()
{
    QTest::addColumn<quint16>("port");
    QTest::addColumn<QString>("firstPass");
    QTest::addColumn<QString>("secondPass");
    QTest::addColumn<QString>("summary");
    quint16 port = firstPort;
    for (const Numbers &row : numbers())
        QTest::newRow(row.name) << port++ << row.firstPass << row.secondPass << row.summary;
}

void WiresharkPluginTest::missingFramesAreNamed()
{
    QFETCH(quint16, port);
    static const QVector<QStringList> firstPass = dissectNumbers({});
    static const QVector<QStringList> secondPass = dissectNumbers({"-2"});

    QTEST(namedMissing(firstPass, port), "firstPass");
    QTEST(namedMissing(secondPass, port), "secondPass");
    QTEST(summaryOf(firstPass, port), "summary");
    QTEST(summaryOf(secondPass, port), "summary");
}

QVector<QStringList> WiresharkPluginTest::dissectNumbers(const QStringList &options) const
{
    captureNumbers(capture());
    return Tshark::fields(capture(),
                          {"udp.srcport", "zep.seqno", "fennix.missing", "_ws.expert.message"},
                          QStringList {"-o", "fennix.summary:TRUE"} + options);
}

void WiresharkPluginTest::theFilterFindsWhatIsMissing()
{
    captureNumbers(capture());
    int expected = 0;
    for (const Numbers &row : numbers())
        expected += row.firstPass.count(':');

    for (const char *filter :
         {"fennix.missing", "_ws.expert.severity == Warning && _ws.expert.group == Sequence"}) {
        const auto found = Tshark::fields(capture(), {"zep.seqno"}, {"-Y", filter});
        QCOMPARE(found.size(), expected);
    }
}

void WiresharkPluginTest::aReloadBeginsAnew()
{
    captureSound(capture(), {1, 2, 6, 4, 7});
    const QByteArray load = R"({"jsonrpc": "2.0", "id": 1, "method": "load", "params": {"file": ")"
        + capture().toLatin1() + "\"}}\n";
    // Wireshark dissects a frame again to show it: then one of the three has come.
    const QByteArray show = R"({"jsonrpc": "2.0", "id": 2, "method": "frames", "params": )"
                            R"({"filter": "fennix.missing", "column0": "fennix.missing:1"}})"
                            "\n";
    const QByteArray shown = R"("result":[{"c":["2"],"num":3,)";

    QCOMPARE(Tshark::answers(load + show).count(shown), 1);
    QCOMPARE(Tshark::answers(load + show + load + show).count(shown), 2);
}

void WiresharkPluginTest::theSummaryHasALineForEachSender()
{
    qputenv("TZ", "UTC");
    PacketFile file(capture());
    file.add(Zep::data(1, frameOfSize(30), 11));
    file.add(Zep::data(3, frameOfSize(30), 26));
    file.add(Zep::acknowledgement(4));
    file.add(Zep::data(1, frameOfSize(30), 15), {"192.168.1.20", 50000});
    file.wait(24 * 3600);
    file.add(Zep::data(2, frameOfSize(30), 15), {"192.168.1.20", 50000});
    file.add("something else", {"192.168.1.30", 50000});
    const QByteArray expected =
        "Address          Port Channels First     Last      Frames  Acks Missing Percent\n"
        "127.0.0.1       40000 11,26    18:10:00  18:10:02       3     1       1   25.00\n"
        "192.168.1.20    50000 15       01. 18:10 02. 18:10      2     0       0    0.00\n";

    const QStringList options {"-n", "-q", "-r", capture(), "-o", "fennix.summary:TRUE"};
    QCOMPARE(Tshark::output(options), expected);
    QCOMPARE(Tshark::output(QStringList {"-2"} + options), expected);
    QCOMPARE(Tshark::output({"-n", "-q", "-r", capture()}), QByteArray());
}

void WiresharkPluginTest::foreignDatagramsAreHandedOnAsTheyCame()
{
    PacketFile file(capture());
    // Magic, version, type, device id, mode, LQI, reserved octets and length of other programs.
    // Each would be changed if it were taken for FENNIX's, and its number would leave a gap.
    quint32 number = 1000;
    for (const int offset : {0, 1, 2, 3, 5, 6, 7, 8, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31}) {
        for (const char value : {'\3', '\5', '\x7f', '\x80', '\xff'}) {
            QByteArray datagram = Zep::data(number += 10, frameOfKind('s'));
            datagram[offset] = value;
            file.add(datagram);
        }
    }
    for (int size = 0; size <= 5; ++size)
        file.add(Zep::data(number += 10, frameOfKind('s').left(size)));
    file.add(Zep::data(number + 10, frameOfKind('s')) + "x");
    file.add(Zep::acknowledgement(number + 20));
    // Cut by the sender or by the capture, at any place.
    const QByteArray data = Zep::data(1, frameOfKind('t'));
    for (int size = 0; size < data.size(); ++size) {
        file.add(data.left(size));
        file.addCut(data, size);
    }
    file.add(Zep::acknowledgement(9) + "x");
    file.addCut(Zep::acknowledgement(9), 6);
    file.addCut(Zep::acknowledgement(9) + "x", 8);
    // Frames that cannot be dissected, or are longer than any.
    for (int size = 6; size < 40; ++size)
        file.add(Zep::data(1, QByteArray(size, '\x63')));
    file.add(Zep::data(1, QByteArray(247, '\x63')));

    QCOMPARE(wholeDissection(capture(), Tshark::PlugIn::Fennix),
             wholeDissection(capture(), Tshark::PlugIn::None));
}

void WiresharkPluginTest::damagedCapturesAreReadToTheEnd_data()
{
    QTest::addColumn<From>("from");
    QTest::newRow("network") << From::Network;
    QTest::newRow("listener") << From::Listener;
}

void WiresharkPluginTest::damagedCapturesAreReadToTheEnd()
{
    QFETCH(From, from);
    const int seeds = Soak::portion(200, 3);
    int packets = 0;
    PacketFile file(capture(), from);
    for (quint32 number = 1; packets < 250; number += number % 10 == 0 ? 3 : 1, ++packets) {
        const QByteArray data = Zep::data(number, frameOfSize(6 + packets % 120));
        file.add(number % 4 == 0 ? Zep::acknowledgement(number) : data);
    }
    const QString damaged = m_folder.filePath("damaged.pcap");

    for (int seed = 0; seed < seeds; ++seed) {
        Soak::showProgress(seed, seeds);
        const QString first = QString::number(Soak::seed() * 1000 + static_cast<quint32>(seed));
        QCOMPARE(QProcess::execute("editcap", {"-E", "0.02", "--seed", first, capture(), damaged}),
                 0);
        // An error of Lua would be among the messages, and would end the test.
        auto with = Tshark::fields(damaged, {"frame.number", "zep.version", "_ws.expert.message"});
        QCOMPARE(with.size(), packets);
        if (from == From::Listener) // Without the plug-in its packets go to nobody.
            continue;
        for (QStringList &row : with)
            row.removeLast();
        const auto without =
            Tshark::fields(damaged, {"frame.number", "zep.version"}, {}, Tshark::PlugIn::None);
        QCOMPARE(with, without);
    }
    Soak::printFigures(QString("%1: %2 captures of %3 packets, no error of Lua")
                           .arg(QTest::currentDataTag())
                           .arg(seeds)
                           .arg(packets));
}

void WiresharkPluginTest::trafficWithoutZepIsDissectedAsBefore()
{
    PacketFile file(capture());
    for (const quint16 port : std::initializer_list<quint16> {53, 123, 5353, 17753, 17755}) {
        file.add(QByteArray::fromHex("123401000001000000000000"), {"127.0.0.1", 40000}, port);
        file.add(Zep::data(1, frameOfSize(30)), {"127.0.0.1", 40000}, port);
    }

    for (const QStringList &options : {QStringList {}, QStringList {"-V"}, QStringList {"-2"}}) {
        const QStringList all = QStringList {"-n", "-r", capture()} + options;
        QCOMPARE(Tshark::output(all, Tshark::PlugIn::Fennix),
                 Tshark::output(all, Tshark::PlugIn::None));
    }
}

void WiresharkPluginTest::theListenerGivesWhatTheNetworkGives()
{
    const QStringList fields {"-n", "-l",       "-T", "fields",       "-e", "zep.seqno",
                              "-e", "wpan.fcs", "-e", "wpan.fcs.bad", "-e", "fennix.missing"};
    QProcess network;
    QProcess listener;
    Tshark::start(&network, fields + QStringList {"-i", "lo", "-f", "udp dst port 17754"});
    Tshark::start(&listener,
                  fields
                      + QStringList {"-i", "udpdump", "-o", "extcap.udpdump.port:17754", "-o",
                                     "extcap.udpdump.payload:fennix"});
    QByteArray fromNetwork;
    QByteArray fromListener;
    const auto haveBoth = [&](const QByteArray &number) {
        fromNetwork += network.readAllStandardOutput();
        fromListener += listener.readAllStandardOutput();
        return fromNetwork.contains(number + '\t') && fromListener.contains(number + '\t');
    };
    QUdpSocket socket;
    const auto send = [&](const QByteArray &datagram) {
        socket.writeDatagram(datagram, QHostAddress::LocalHost, 17754);
    };

    // Both take a moment to begin; until then the first frame is sent again and again.
    QVERIFY(QTest::qWaitFor(
        [&] {
            send(Zep::data(1001, frameOfKind('s')));
            return haveBoth("1001");
        },
        startTimeoutMs));
    send(Zep::data(1002, frameOfKind('S')));
    send(Zep::data(1003, frameOfKind('s')));
    send(Zep::acknowledgement(1004));
    send(Zep::data(1007, frameOfKind('d')));
    send(Zep::acknowledgement(1010));
    QTRY_VERIFY(haveBoth("1010"));

    const auto later = [](const QByteArray &lines) { return lines.mid(lines.indexOf("1002\t")); };
    QCOMPARE(later(fromListener), later(fromNetwork));
    QVERIFY(fromListener.contains("\t2\n1010\t\t\t2\n"));
    for (QProcess *process : {&network, &listener}) {
        // Killed in another way, it would leave its listener behind.
        kill(static_cast<pid_t>(process->processId()), SIGINT);
        QVERIFY(process->waitForFinished());
    }
}

void WiresharkPluginTest::anotherPortCanBeChosen()
{
    PacketFile file(capture());
    for (const quint32 number : {1U, 3U}) {
        file.add(Zep::data(number, frameOfKind('s')));
        file.add(Zep::data(number, frameOfKind('s')), {"127.0.0.1", firstPort}, 20000);
    }

    const auto rows =
        Tshark::fields(capture(), {"frame.protocols", "wpan.fcs.bad", "fennix.missing"},
                       {"-o", "fennix.port:20000"});

    const QString own("raw:ip:udp:fennix:zep:wpan:data");
    const QString zep("raw:ip:udp:zep:wpan:data");
    const QString mark = rows.at(0).at(1);
    QVERIFY(!mark.isEmpty());
    QCOMPARE(
        rows,
        (QVector<QStringList> {{zep, mark, {}}, {own, {}, {}}, {zep, mark, {}}, {own, {}, "1"}}));
}

void WiresharkPluginTest::recognitionCanBeSwitchedOff()
{
    PacketFile file(capture());
    quint32 number = 0;
    for (const char kind : {'S', 's', 'S', 'D', 's'})
        file.add(Zep::data(number += 2, frameOfKind(kind)));

    QString marks;
    QStringList missing;
    const auto rows = Tshark::fields(capture(), {"zep.seqno", "wpan.fcs.bad", "fennix.missing"},
                                     {"-o", "fennix.check_sequences:FALSE"});
    for (const QStringList &row : rows) {
        marks += row.at(1).isEmpty() ? '.' : '!';
        missing.append(row.at(2));
    }

    QCOMPARE(marks, QString(".!..!"));
    QCOMPARE(missing, (QStringList {{}, "1", "1", "1", "1"}));
}

void WiresharkPluginTest::loadedTwiceItWorksOnce()
{
    captureSound(capture(), {1, 2, 4, 5});
    const QStringList options {"-n", "-V", "-r", capture(), "-o", "fennix.summary:TRUE"};
    const QStringList again {"-X", "lua_script:" PLUGIN_FOLDER "/fennix.lua"};

    QCOMPARE(Tshark::output(options + again), Tshark::output(options));
}

QTEST_GUILESS_MAIN(WiresharkPluginTest)

#include "tst_wireshark_plugin.moc"
