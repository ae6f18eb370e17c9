#include "frame_source.h"

#include "../clock.h"
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

void sleepUntil(int64_t time)
{
    const timespec due = {static_cast<time_t>(time / 1000000000),
                          static_cast<long>(time % 1000000000)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr);
}

} // namespace

FrameSource::FrameSource(std::function<QByteArray()> nextFrame)
    : m_nextFrame(std::move(nextFrame))
{ }

FrameSource::~FrameSource()
{
    m_stop = true;
    finish();
}

void FrameSource::start(int count, Rate rate, std::function<int()> received)
{
    finish();
    m_received = std::move(received);
    m_surplus = m_received();
    m_sendTimes.clear();
    m_sendTimes.reserve(static_cast<size_t>(count));
    m_thread = std::thread(&FrameSource::run, this, count, rate);
}

void FrameSource::finish()
{
    if (m_thread.joinable())
        m_thread.join();
}

/** Returns a data frame between short addresses. */
QByteArray FrameSource::dataFrame()
{
    static const QByteArray frame = Simulator::withFrameCheckSequence(
        QByteArray::fromHex("618801621a00002d5e").leftJustified(frameSize - 2, '\x5a'));
    return frame;
}

void FrameSource::run(int count, Rate rate)
{
    write("\nHAN: 11\n");
    int64_t due = nanoseconds(CLOCK_MONOTONIC);
    for (int i = 0; i < count && !m_stop; ++i) {
        const QByteArray record = Simulator::SimulatedDevice::frameRecord(m_nextFrame());
        due += record.size() * nanosecondsPerByte;
        if (rate == Rate::Line)
            sleepUntil(due);
        else
            waitForReceiver(i);
        m_sendTimes.push_back(nanoseconds(CLOCK_MONOTONIC));
        write(record);
    }
}

void FrameSource::waitForReceiver(int sent)
{
    const int64_t limit = nanoseconds(CLOCK_MONOTONIC) + longestStall;
    while (sent + m_surplus - m_received() > farthestAhead && !m_stop) {
        if (nanoseconds(CLOCK_MONOTONIC) > limit)
            m_surplus = m_received() - sent;
        std::this_thread::yield();
    }
}

void FrameSource::write(const QByteArray &bytes) const
{
    constexpr int pollMs = 100;
    qint64 written = 0;
    while (written < bytes.size() && !m_stop) {
        const ssize_t result = ::write(m_line.deviceEnd(), bytes.constData() + written,
                                       static_cast<size_t>(bytes.size() - written));
        if (result > 0) {
            written += result;
            continue;
        }
        pollfd room = {m_line.deviceEnd(), POLLOUT, 0};
        poll(&room, 1, pollMs);
    }
}
