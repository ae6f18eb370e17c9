#include "connection.h"
#include "flood.h"
#include "footprint.h"
#include "mocked_machine.h"
#include "patience.h"
#include "traffic.h"
#include "window_under_test.h"

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
constexpr int meanFrame = (SeededFrames::smallestFrame + Simulator::Traffic::largestFrame) / 2;
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
    void startCapture(const QString &address) const;
    bool forward(int frames);
    void refuseSome();
    Footprint footprint() const;
    void printFigures(const Footprint &first, const Footprint &last) const;

    MockedMachine m_machine;
    QSemaphore m_room {farthestAhead};
    FloodingDevice m_device {&m_room};
    FloodedAnalyser m_analyser {&m_room};
    std::unique_ptr<WindowUnderTest> m_test;
    QElapsedTimer m_clock;
};

void VolumeTest::nothingIsLostOrKept()
{
    m_machine.plugIn(MockedMachine::Kind::Mirzel, "ttyUSB0", m_device.portPath());
    m_test = std::make_unique<WindowUnderTest>();
    m_test->click("devConnectButton");
    m_device.reportChannel();
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
    QCOMPARE(m_analyser.received() + m_analyser.missing(), m_device.framesSent());
    QCOMPARE(m_analyser.missing(), quint32(farthestAhead));
    QCOMPARE(m_test->packetCount(), static_cast<int>(m_analyser.received()));
    verifyFlat("allocated", first->allocatedKilobytes, last.allocatedKilobytes);
    if (!isEmulated)
        verifyFlat("resident", first->residentKilobytes, last.residentKilobytes);
    QCOMPARE(last.descriptors, first->descriptors);
    QCOMPARE(last.objects, first->objects);
    printFigures(*first, last);
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
    quint32 seen = m_analyser.received();
    const quint32 end = seen + static_cast<quint32>(frames);
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
    m_device.start(frames);
    return loop.exec() == 0;
}

/** Sends for a while to where there is no way to: the log counts what the sequence misses. */
void VolumeTest::refuseSome()
{
    startCapture("203.0.113.1");
    m_device.start(farthestAhead);
    QTRY_COMPARE_WITH_TIMEOUT(m_test->log.text().count("ZEP Error: "), farthestAhead, patienceMs());
    m_room.release(farthestAhead);
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
            .arg(m_device.bytesSent())
            .arg(m_device.framesSent())
            .arg(m_clock.elapsed() / 1000)
            .arg(m_analyser.missing())
            .arg(first.residentKilobytes)
            .arg(last.residentKilobytes)
            .arg(last.descriptors)
            .arg(last.objects));
}

QTEST_MAIN(VolumeTest)

#include "tst_volume.moc"
