// Measures what the program costs: the CPU time of its one thread for each frame,
// the time from a record's last byte to its datagram, the start and the memory.
//
//     fennix-benchmark 2>/dev/null
//
// Standard error takes the trace of each record, which is part of the cost.

#include "appearance.h"
#include "clock.h"
#include "connection.h"
#include "datagram_sink.h"
#include "frame_source.h"
#include "mainwindow.h"
#include "startup.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int unthrottledFrames = 100000;
constexpr int lineFrames = 1000;
constexpr int timeoutMs = 60000;
/** Seldom enough not to count among what is measured. */
constexpr int pollIntervalMs = 200;

/** Shows the window on the page that counts frames, as while capturing. */
class CapturingWindow
{
public:
    explicit CapturingWindow(Connection *connection)
    {
        QObject::connect(connection, SIGNAL(showPacketCount(uint)), &m_window,
                         SLOT(updateGui(uint)));
        QMetaObject::invokeMethod(&m_window, "showConnectedPage");
        m_window.show();
        if (!QTest::qWaitForWindowExposed(&m_window))
            qFatal("the window does not show");
    }

private:
    MainWindow m_window;
};

/** Keeps the processor from sleeping deeply, which would double every figure. */
void stayAwake()
{
    const int latency = open("/dev/cpu_dma_latency", O_WRONLY | O_CLOEXEC);
    const int32_t zero = 0;
    if (latency < 0 || write(latency, &zero, sizeof(zero)) != sizeof(zero))
        std::printf("(idle states of the processor are not held off)\n");
}

void printLatency(const std::vector<int64_t> &sent, const std::vector<int64_t> &received)
{
    std::vector<int64_t> latencies;
    for (size_t i = 0; i < received.size(); ++i)
        latencies.push_back(received[i] - sent[i]);
    std::sort(latencies.begin(), latencies.end());
    const auto percentile = [&](size_t percent) {
        return static_cast<double>(latencies[latencies.size() * percent / 100]) / 1e3;
    };
    std::printf("  last byte to datagram: median %.0f us, 99th percentile %.0f us\n",
                percentile(50), percentile(99));
}

void measureForwarding(const char *name, FrameSource::Rate rate, int frames)
{
    DatagramSink sink(frames);
    FrameSource source;
    Connection connection;
    const CapturingWindow window(&connection);
    if (!connection.openSerialPort(source.portPath()))
        qFatal("the port does not open");

    const int64_t before = nanoseconds(CLOCK_THREAD_CPUTIME_ID);
    QElapsedTimer elapsed;
    elapsed.start();
    source.start(frames, rate);
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, qApp, [&] {
        if (sink.received() >= frames || elapsed.hasExpired(timeoutMs))
            QCoreApplication::quit();
    });
    poll.start(pollIntervalMs);
    QCoreApplication::exec();
    const auto cpu = static_cast<double>(nanoseconds(CLOCK_THREAD_CPUTIME_ID) - before);
    const double seconds = static_cast<double>(elapsed.elapsed()) / 1e3;
    source.finish();
    sink.finish();

    std::printf("%s: %d of %d frames of %d bytes in %.1f s, %.1f us of CPU each\n", name,
                sink.received(), frames, FrameSource::frameSize, seconds, cpu / frames / 1e3);
    if (rate == FrameSource::Rate::Line && sink.received() == frames)
        printLatency(source.sendTimes(), sink.receiveTimes());
    connection.closeSerialPort();
}

} // namespace

int main(int argc, char *argv[])
{
    Appearance::scaleWithTheScreen();
    const QApplication application(argc, argv);
    const Appearance appearance;
    if (argc == 2 && qstrcmp(argv[1], startupArgument) == 0)
        return runStartup();

    stayAwake();
    std::printf("platform %s\n", qPrintable(QGuiApplication::platformName()));
    measureForwarding("unthrottled", FrameSource::Rate::Unthrottled, unthrottledFrames);
    measureForwarding("at 38400 baud", FrameSource::Rate::Line, lineFrames);
    measureStartup();
    return 0;
}
