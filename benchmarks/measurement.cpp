#include "measurement.h"

#include "clock.h"
#include "datagram_sink.h"
#include "subject.h"

#include <QThread>

#include <algorithm>

namespace {

/** Seldom enough not to count among what is measured. */
constexpr int pollIntervalMs = 50;
/** When nothing has come for so long, nothing comes any more; valgrind's first steps are slow. */
constexpr int patienceMs = 20000;

/** Waits until the sink has everything that it will get. */
void waitForFrames(const DatagramSink &sink, int frames)
{
    int before = -1;
    for (int waited = 0; waited < patienceMs && sink.received() < frames;) {
        waited = sink.received() == before ? waited + pollIntervalMs : 0;
        before = sink.received();
        QThread::msleep(pollIntervalMs);
    }
}

double percentile(std::vector<int64_t> *values, size_t percent)
{
    const auto place = values->begin() + static_cast<ptrdiff_t>(values->size() * percent / 100);
    std::nth_element(values->begin(), place, values->end());
    return static_cast<double>(*place) / 1e3;
}

void fillLatencies(const FrameSource &source, const DatagramSink &sink, ForwardingResult *result)
{
    std::vector<int64_t> latencies;
    for (size_t i = 0; i < sink.receiveTimes().size(); ++i)
        latencies.push_back(sink.receiveTimes()[i] - source.sendTimes()[i]);
    result->medianLatency = percentile(&latencies, 50);
    result->highLatency = percentile(&latencies, 99);
}

/** Instructions of a whole run, from the start of the process to its end. */
int64_t countRun(const Subject &subject, FrameSource::Rate rate, int frames)
{
    DatagramSink sink(frames);
    FrameSource source;
    RunningSubject running(subject, source.portPath(), true);
    source.start(frames, rate, [&sink] { return sink.received(); });
    waitForFrames(sink, frames);
    if (sink.received() < frames)
        qFatal("%s loses frames where they are counted", qPrintable(subject.name));
    source.finish();
    return running.stop();
}

} // namespace

ForwardingResult measureForwarding(const Subject &subject, FrameSource::Rate rate, int frames)
{
    DatagramSink sink(frames);
    FrameSource source;
    RunningSubject running(subject, source.portPath());
    ForwardingResult result;

    const int64_t before = running.cpuTime();
    source.start(frames, rate, [&sink] { return sink.received(); });
    waitForFrames(sink, frames);
    result.cpuPerFrame = static_cast<double>(running.cpuTime() - before) / frames / 1e3;
    result.memory = running.memory();
    source.finish();
    sink.finish();

    result.lost = frames - sink.received();
    if (result.lost == 0)
        fillLatencies(source, sink, &result);
    return result;
}

double countInstructions(const Subject &subject, FrameSource::Rate rate, int frames)
{
    // The start and what only the first frames bring is in both, and falls out.
    const int few = frames / 5;
    const int64_t difference = countRun(subject, rate, frames + few) - countRun(subject, rate, few);
    return static_cast<double>(difference) / frames;
}

StartResult measureStart(const Subject &subject)
{
    const RunningSubject running(subject, QString());
    return {static_cast<double>(running.startTime()) / 1e6, running.memory()};
}

int64_t countStart(const Subject &subject)
{
    RunningSubject running(subject, QString(), true);
    return running.stop();
}
