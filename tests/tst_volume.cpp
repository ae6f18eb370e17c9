#include "chance.h"
#include "connection.h"
#include "datagram_sink.h"
#include "footprint.h"
#include "frame_source.h"
#include "mocked_machine.h"
#include "patience.h"
#include "soak.h"
#include "traffic.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QLineEdit>
#include <QTimer>
#include <QtTest>

#include <optional>

using Simulator::MockedMachine;

namespace {

/** A day of 38400 baud at ten bits a byte, in records of the mean size. */
constexpr int bytesOfADay = 24 * 60 * 60 * 3840;
constexpr int bytesAroundAFrame = 11;
constexpr int meanFrame = (Chance::smallestFrame + Simulator::Traffic::largestFrame) / 2;
constexpr int framesOfADay = bytesOfADay / (bytesAroundAFrame + meanFrame);

constexpr int parts = 10;

constexpr int longestStallMs = 20000;

/** What the heap may keep more at one look than at another. */
constexpr int slackKilobytes = 512;

/** Where another processor is emulated, what has been translated is resident, too. */
#ifdef FENNIX_EMULATED
constexpr bool isEmulated = true;
#else
constexpr bool isEmulated = false;
#endif

void verifyFlat(const char *memory, int first, int last)
{
    QVERIFY2(last <= first + slackKilobytes,
             qPrintable(QString("%1: %2 kB, then %3 kB").arg(memory).arg(first).arg(last)));
}

/**
 * Tells whether each datagram is the one of the frame that was sent. A gap in the sequence is
 * counted.
 */
class ExpectedDatagrams
{
public:
    int missing() const { return m_missing; }

    bool isNext(const QByteArray &datagram);

private:
    Chance m_frames {Soak::seed()};
    quint32 m_nextSequenceNumber = 1;
    std::atomic<int> m_missing {0};
};

bool ExpectedDatagrams::isNext(const QByteArray &datagram)
{
    const quint32 gap = ZepReceiver::sequenceNumber(datagram) - m_nextSequenceNumber;
    if (gap > FrameSource::farthestAhead)
        return false;
    for (quint32 i = 0; i < gap; ++i)
        m_frames.frame();
    m_missing += static_cast<int>(gap);
    m_nextSequenceNumber += gap + 1;
    const QByteArray frame = m_frames.frame();
    if (frame.size() <= Chance::smallestFrame)
        return datagram.size() == ZepReceiver::acknowledgementSize;
    return ZepReceiver::isData(datagram) && datagram.mid(ZepReceiver::dataHeaderSize) == frame;
}

/** Builds the trace of each frame, as in real life, but writes it nowhere. */
class TraceToNowhere
{
public:
    TraceToNowhere()
        : m_previous(qInstallMessageHandler(drop))
    { }
    ~TraceToNowhere() { qInstallMessageHandler(m_previous); }
    Q_DISABLE_COPY(TraceToNowhere)

private:
    static void drop(QtMsgType, const QMessageLogContext &, const QString &) { }

    QtMessageHandler m_previous;
};

} // namespace

class VolumeTest : public QObject
{
    Q_OBJECT

private slots:
    void nothingIsLostOrKept();

private:
    QByteArray nextFrame();
    void send(int frames);
    void startCapture(const QString &address) const;
    bool forward(int frames);
    void refuseSome();
    Footprint footprint() const;
    void printFigures(const Footprint &first, const Footprint &last) const;

    MockedMachine m_machine;
    ExpectedDatagrams m_expected;
    DatagramSink m_analyser {0, [this](const QByteArray &it) { return m_expected.isNext(it); }};
    Chance m_frames {Soak::seed()};
    int m_framesSent = 0;
    qint64 m_bytesSent = 0;
    FrameSource m_device {[this] { return nextFrame(); }};
    std::unique_ptr<WindowUnderTest> m_test;
    QElapsedTimer m_clock;
};

void VolumeTest::nothingIsLostOrKept()
{
    m_machine.plugIn(MockedMachine::Kind::Mirzel, "ttyUSB0", m_device.portPath());
    m_test = std::make_unique<WindowUnderTest>();
    m_test->click("devConnectButton");
    startCapture(QString());
    const TraceToNowhere trace;
    m_clock.start();

    std::optional<Footprint> first;
    for (int part = 0; part < parts; ++part) {
        QVERIFY(forward(Soak::portion(framesOfADay) / parts));
        if (part == 0)
            first = footprint();
        if (part == parts / 2)
            refuseSome();
        Soak::showProgress(part + 1, parts);
    }

    const Footprint last = footprint();
    m_device.finish();
    QCOMPARE(m_analyser.received() + m_expected.missing(), m_framesSent);
    QCOMPARE(m_expected.missing(), FrameSource::farthestAhead);
    QCOMPARE(m_test->packetCount(), m_analyser.received());
    verifyFlat("allocated", first->allocatedKilobytes, last.allocatedKilobytes);
    if (!isEmulated)
        verifyFlat("resident", first->residentKilobytes, last.residentKilobytes);
    QCOMPARE(last.descriptors, first->descriptors);
    QCOMPARE(last.objects, first->objects);
    printFigures(*first, last);
}

QByteArray VolumeTest::nextFrame()
{
    QByteArray frame = m_frames.frame();
    ++m_framesSent;
    m_bytesSent += bytesAroundAFrame + frame.size();
    return frame;
}

void VolumeTest::send(int frames)
{
    m_device.start(frames, FrameSource::Rate::Unthrottled,
                   [this] { return m_analyser.received(); });
}

/** Presses Stop and Start with another destination; none is this machine. */
void VolumeTest::startCapture(const QString &address) const
{
    m_test->click("OffBtn");
    m_test->find<QLineEdit>("remoteIpInput")->setText(address);
    m_test->click("OnBtn");
}

/** Returns whether as many frames have arrived as were sent. */
bool VolumeTest::forward(int frames)
{
    // Qt Test's own waiting would sleep whenever the line is empty for a moment.
    QEventLoop loop;
    QTimer look;
    QTimer stall;
    int seen = m_analyser.received();
    const int end = seen + frames;
    connect(&stall, &QTimer::timeout, &loop, [&] { loop.exit(1); });
    connect(&look, &QTimer::timeout, &loop, [&] {
        if (m_analyser.received() == end)
            loop.quit();
        if (m_analyser.received() != seen)
            stall.start(longestStallMs);
        seen = m_analyser.received();
    });
    look.start(5);
    stall.start(longestStallMs);
    send(frames);
    return loop.exec() == 0;
}

/** Sends for a while to where there is no way to: the log counts what the sequence misses. */
void VolumeTest::refuseSome()
{
    startCapture("203.0.113.1");
    send(FrameSource::farthestAhead);
    QTRY_COMPARE_WITH_TIMEOUT(m_test->log.text().count("ZEP Error: "), FrameSource::farthestAhead,
                              patienceMs());
    startCapture(QString());
}

Footprint VolumeTest::footprint() const
{
    return {&m_test->window, m_test->link.connection()};
}

void VolumeTest::printFigures(const Footprint &first, const Footprint &last) const
{
    Soak::printFigures(
        QString(
            "%1 bytes, %2 frames in %3 s, %4 refused, 0 lost; %5 kB after a tenth, %6 kB at the "
            "end; %7 descriptors, %8 objects")
            .arg(m_bytesSent)
            .arg(m_framesSent)
            .arg(m_clock.elapsed() / 1000)
            .arg(m_expected.missing())
            .arg(first.residentKilobytes)
            .arg(last.residentKilobytes)
            .arg(last.descriptors)
            .arg(last.objects));
}

QTEST_MAIN(VolumeTest)

#include "tst_volume.moc"
