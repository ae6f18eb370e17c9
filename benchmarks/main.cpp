// Measures what the program costs beside what must be paid anyway, and prints one table.
//
//     fennix-benchmark [ROUNDS]
//
// Every round measures every subject, so that what else the machine does meets all of them
// alike; the table has the medians of five rounds, or of ROUNDS. With DISPLAY set, the program
// is measured on that screen, too.

#include "frame_source.h"
#include "measurement.h"
#include "subject.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Rate = FrameSource::Rate;

constexpr int defaultRounds = 5;
constexpr int lineFrames = 400;
constexpr int unthrottledFrames = 200000;
constexpr int countedLineFrames = 500;
constexpr int countedUnthrottledFrames = 10000;
constexpr int shortRun = 10000;
constexpr int longRun = 1000000;

/** A subject and what all rounds have found. */
struct Row
{
    Subject subject;
    std::vector<ForwardingResult> line;
    std::vector<ForwardingResult> unthrottled;
    std::vector<StartResult> starts;
};

template<typename Result, typename Value>
double median(const std::vector<Result> &results, Value Result::*value)
{
    std::vector<double> values;
    values.reserve(results.size());
    for (const Result &result : results)
        values.push_back(static_cast<double>(result.*value));
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::vector<Row> makeRows()
{
    const QString offscreen = QStringLiteral("offscreen");
    const QString program = QStringLiteral("fennix-subject");
    std::vector<Row> rows = {
        {{"floor without Qt", "floor-without-qt", QString(), true}, {}, {}, {}},
        {{"floor with Qt's core", "floor-with-qt-core", QString(), true}, {}, {}, {}},
        {{"empty window", "empty-window", offscreen, false}, {}, {}, {}},
        {{"fennix", program, offscreen, true}, {}, {}, {}},
    };
    if (qEnvironmentVariableIsSet("DISPLAY")) {
        const QString screen = QStringLiteral("xcb");
        rows.push_back({{"empty window, X11", "empty-window", screen, false}, {}, {}, {}});
        rows.push_back({{"fennix, X11", program, screen, true}, {}, {}, {}});
    }
    return rows;
}

/** Keeps the processor from sleeping deeply, which would double every figure. */
void stayAwake()
{
    const int latency = open("/dev/cpu_dma_latency", O_WRONLY | O_CLOEXEC);
    const int32_t zero = 0;
    if (latency < 0 || write(latency, &zero, sizeof(zero)) != sizeof(zero))
        std::printf("(idle states of the processor are not held off)\n");
}

void measureRound(std::vector<Row> *rows)
{
    for (Row &row : *rows) {
        if (!row.subject.platform.isEmpty())
            row.starts.push_back(measureStart(row.subject));
        if (!row.subject.forwards)
            continue;
        row.line.push_back(measureForwarding(row.subject, Rate::Line, lineFrames));
        row.unthrottled.push_back(
            measureForwarding(row.subject, Rate::Unthrottled, unthrottledFrames));
    }
}

void printForwarding(const Row &row)
{
    std::printf("%-22s %8.1f %8.0f %8.0f %8.2f %8.0f %10.0f %10.0f\n", qPrintable(row.subject.name),
                median(row.line, &ForwardingResult::cpuPerFrame),
                median(row.line, &ForwardingResult::medianLatency),
                median(row.line, &ForwardingResult::highLatency),
                median(row.unthrottled, &ForwardingResult::cpuPerFrame),
                median(row.unthrottled, &ForwardingResult::lost),
                countInstructions(row.subject, Rate::Line, countedLineFrames),
                countInstructions(row.subject, Rate::Unthrottled, countedUnthrottledFrames));
}

void printStart(const Row &row)
{
    std::printf("%-22s %8.0f %8.1f %10.1f\n", qPrintable(row.subject.name),
                median(row.starts, &StartResult::milliseconds),
                median(row.starts, &StartResult::memory) / 1024,
                static_cast<double>(countStart(row.subject)) / 1e6);
}

void printGrowth(const Subject &subject, int frames)
{
    const ForwardingResult result = measureForwarding(subject, Rate::Unthrottled, frames);
    std::printf("%-22s %8d %8.2f %8.1f %8d\n", qPrintable(subject.name), frames, result.cpuPerFrame,
                static_cast<double>(result.memory) / 1024, result.lost);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int rounds = argc == 2 ? QByteArray(argv[1]).toInt() : defaultRounds;
    if (argc > 2 || rounds < 1) {
        std::fprintf(stderr, "usage: fennix-benchmark [ROUNDS]\n");
        return 2;
    }

    stayAwake();
    std::vector<Row> rows = makeRows();
    for (int i = 0; i < rounds; ++i)
        measureRound(&rows);

    std::printf("%-22s %8s %8s %8s %8s %8s %10s %10s\n", "", "line us", "p50 us", "p99 us",
                "free us", "lost", "line ins", "free ins");
    for (const Row &row : rows) {
        if (row.subject.forwards)
            printForwarding(row);
    }
    std::printf("\n%-22s %8s %8s %10s\n", "", "start ms", "MB", "mega ins");
    for (const Row &row : rows) {
        if (!row.starts.empty())
            printStart(row);
    }
    std::printf("\n%-22s %8s %8s %8s %8s\n", "", "frames", "free us", "MB", "lost");
    for (const Row &row : rows) {
        if (row.subject.forwards) {
            printGrowth(row.subject, shortRun);
            printGrowth(row.subject, longRun);
        }
    }
    return 0;
}
