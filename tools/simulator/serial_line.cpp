#include "serial_line.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <sys/uio.h>
#include <unistd.h>

namespace Simulator {

namespace {

// Enough to fill the terminal's buffer in one call; few enough that an "idle"
// command does not wait behind a long queue.
constexpr std::size_t unthrottledDepth = 32;

constexpr int openPollInterval = 5;

} // namespace

SerialLine::SerialLine(qint64 nanosecondsPerByte, FrameSource source, QObject *parent)
    : QObject(parent)
    , m_readable(m_terminal.deviceEnd(), QSocketNotifier::Read)
    , m_writable(m_terminal.deviceEnd(), QSocketNotifier::Write)
    , m_nanosecondsPerByte(nanosecondsPerByte)
    , m_source(std::move(source))
{
    m_readable.setEnabled(false);
    m_writable.setEnabled(false);
    m_byteTimer.setSingleShot(true);
    m_byteTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_readable, &QSocketNotifier::activated, this, &SerialLine::readAvailable);
    connect(&m_writable, &QSocketNotifier::activated, this, &SerialLine::onWritable);
    connect(&m_byteTimer, &QTimer::timeout, this, &SerialLine::onByteTimer);

    // A terminal without a host reports a hang-up all the time, so no notifier can
    // wait for the host: look now and then instead.
    connect(&m_openPoll, &QTimer::timeout, this, &SerialLine::readAvailable);
    m_openPoll.start(openPollInterval);
    m_clock.start();
}

void SerialLine::send(const QByteArray &bytes)
{
    if (bytes.isEmpty() || !checkHeldOpen())
        return;
    m_queue.push_back({bytes, false});
    if (!m_busy)
        startHead(m_clock.nsecsElapsed());
}

void SerialLine::resume()
{
    if (!checkHeldOpen())
        return;
    fillFromSource();
    if (!m_busy && !m_queue.empty())
        startHead(m_clock.nsecsElapsed());
}

void SerialLine::withdrawFrames()
{
    const bool headStays = m_headWritten > 0;
    const auto first = m_queue.begin() + (headStays ? 1 : 0);
    m_queue.erase(std::remove_if(first, m_queue.end(),
                                 [](const Message &message) { return message.isFrame; }),
                  m_queue.end());
    if (headStays)
        return;
    stopHead();
    if (!m_queue.empty())
        startHead(m_clock.nsecsElapsed());
}

int SerialLine::framesQueued() const
{
    return static_cast<int>(std::count_if(m_queue.begin(), m_queue.end(),
                                          [](const Message &message) { return message.isFrame; }));
}

void SerialLine::hangUp()
{
    setHeldOpen(false);
    m_openPoll.stop();
    m_terminal.hangUp();
}

bool SerialLine::checkHeldOpen()
{
    if (!m_heldOpen && m_terminal.isHeldOpen())
        setHeldOpen(true);
    return m_heldOpen;
}

void SerialLine::setHeldOpen(bool heldOpen)
{
    if (m_heldOpen == heldOpen)
        return;
    m_heldOpen = heldOpen;
    m_readable.setEnabled(heldOpen);
    if (heldOpen) {
        m_openPoll.stop();
        resume();
        return;
    }
    m_queue.clear();
    stopHead();
    m_terminal.discardUnread();
    m_openPoll.start(openPollInterval);
}

void SerialLine::readAvailable()
{
    QByteArray bytes;
    std::array<char, 4096> buffer;
    ssize_t count = 0;
    while ((count = ::read(m_terminal.deviceEnd(), buffer.data(), buffer.size())) > 0)
        bytes.append(buffer.data(), static_cast<int>(count));

    // What the host wrote before it closed the port comes before the error.
    setHeldOpen(count < 0 && (errno == EAGAIN || errno == EINTR));
    if (!bytes.isEmpty())
        emit received(bytes);
}

void SerialLine::fillFromSource()
{
    const std::size_t depth = isThrottled() ? 1 : unthrottledDepth;
    while (m_queue.size() < depth) {
        const QByteArray record = m_source();
        if (record.isEmpty())
            return;
        m_queue.push_back({record, true});
    }
}

void SerialLine::startHead(qint64 begin)
{
    m_busy = true;
    if (!isThrottled()) {
        m_writable.setEnabled(true);
        return;
    }
    m_lastByteDue = begin + m_queue.front().bytes.size() * m_nanosecondsPerByte;
    startByteTimer();
}

void SerialLine::stopHead()
{
    m_busy = false;
    m_headWritten = 0;
    m_byteTimer.stop();
    m_writable.setEnabled(false);
}

void SerialLine::startByteTimer()
{
    constexpr qint64 nanosecondsPerMillisecond = 1'000'000;
    const qint64 wait = qMax<qint64>(0, m_lastByteDue - m_clock.nsecsElapsed());
    const qint64 roundedUp = (wait + nanosecondsPerMillisecond - 1) / nanosecondsPerMillisecond;
    m_byteTimer.start(static_cast<int>(roundedUp));
}

void SerialLine::onByteTimer()
{
    // The wire knows no pause between two messages, however late the timer is.
    if (m_clock.nsecsElapsed() >= m_lastByteDue)
        writeDue(m_lastByteDue);
    else
        startByteTimer();
}

void SerialLine::onWritable()
{
    writeDue(m_clock.nsecsElapsed());
}

void SerialLine::writeDue(qint64 nextBegin)
{
    const int writtenBefore = m_framesWritten;
    const bool complete = writeOnce();
    if (complete) {
        stopHead();
        fillFromSource();
        if (!m_queue.empty())
            startHead(nextBegin);
    } else {
        m_writable.setEnabled(true);
    }
    if (m_framesWritten != writtenBefore)
        emit framesWrittenChanged();
}

bool SerialLine::writeOnce()
{
    const std::size_t due = isThrottled() ? 1 : std::min(m_queue.size(), unthrottledDepth);
    std::array<iovec, unthrottledDepth> parts;
    for (std::size_t index = 0; index < due; ++index) {
        const QByteArray &bytes = m_queue[index].bytes;
        const int skipped = index == 0 ? m_headWritten : 0;
        parts[index].iov_base = const_cast<char *>(bytes.constData()) + skipped;
        parts[index].iov_len = static_cast<std::size_t>(bytes.size() - skipped);
    }
    const ssize_t count = ::writev(m_terminal.deviceEnd(), parts.data(), static_cast<int>(due));
    if (count > 0)
        removeWritten(static_cast<int>(count));
    return m_headWritten == 0 && count > 0;
}

void SerialLine::removeWritten(int count)
{
    m_headWritten += count;
    while (!m_queue.empty() && m_headWritten >= m_queue.front().bytes.size()) {
        m_headWritten -= m_queue.front().bytes.size();
        m_framesWritten += m_queue.front().isFrame ? 1 : 0;
        m_queue.pop_front();
    }
}

} // namespace Simulator
