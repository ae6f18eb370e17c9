#include "frame_source.h"

#include "clock.h"
#include "simulated_device.h"
#include "traffic.h"

#include <utility>

#include <poll.h>
#include <unistd.h>

namespace {

/** Ten bits a byte at 38400 baud. */
constexpr int64_t nanosecondsPerByte = 10 * 1000000000LL / 38400;
/** After this time frames count as lost, and others follow. */
constexpr int64_t longestStall = 1000000000;

/** Returns the record of a data frame between short addresses. */
QByteArray dataRecord()
{
    QByteArray frame = QByteArray::fromHex("618801621a00002d5e");
    frame = frame.leftJustified(FrameSource::frameSize - 2, '\x5a');
    return Simulator::SimulatedDevice::frameRecord(Simulator::withFrameCheckSequence(frame));
}

void sleepUntil(int64_t time)
{
    const timespec due = {static_cast<time_t>(time / 1000000000),
                          static_cast<long>(time % 1000000000)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr);
}

} // namespace

FrameSource::FrameSource()
    : m_record(dataRecord())
{ }

FrameSource::~FrameSource()
{
    finish();
}

void FrameSource::start(int count, Rate rate, std::function<int()> received)
{
    m_received = std::move(received);
    m_sendTimes.reserve(static_cast<size_t>(count));
    m_thread = std::thread(&FrameSource::run, this, count, rate);
}

void FrameSource::finish()
{
    if (m_thread.joinable())
        m_thread.join();
}

void FrameSource::run(int count, Rate rate)
{
    write("\nHAN: 11\n");
    int64_t due = nanoseconds(CLOCK_MONOTONIC);
    for (int i = 0; i < count; ++i) {
        waitForTurn(i, rate, &due);
        m_sendTimes.push_back(nanoseconds(CLOCK_MONOTONIC));
        write(m_record);
    }
}

void FrameSource::waitForTurn(int frame, Rate rate, int64_t *due)
{
    if (rate == Rate::Line) {
        *due += m_record.size() * nanosecondsPerByte;
        sleepUntil(*due);
        return;
    }
    const int64_t limit = nanoseconds(CLOCK_MONOTONIC) + longestStall;
    while (frame - m_lost - m_received() > farthestAhead) {
        if (nanoseconds(CLOCK_MONOTONIC) > limit)
            m_lost = frame - m_received();
        std::this_thread::yield();
    }
}

void FrameSource::write(const QByteArray &bytes) const
{
    qint64 written = 0;
    while (written < bytes.size()) {
        const ssize_t result = ::write(m_line.deviceEnd(), bytes.constData() + written,
                                       static_cast<size_t>(bytes.size() - written));
        if (result > 0) {
            written += result;
            continue;
        }
        pollfd room = {m_line.deviceEnd(), POLLOUT, 0};
        poll(&room, 1, -1);
    }
}
