#pragma once

#include "pseudo_terminal.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

/**
 * A device that sends frame records from a thread of its own and notes when it has sent each.
 */
class FrameSource
{
public:
    enum class Rate { Line, Unthrottled };

    /** Bytes of each radio frame, unless others are given: about the mean of a ZigBee home. */
    static constexpr int frameSize = 39;

    /** Sends the frames that @p nextFrame gives, in the thread that sends. */
    explicit FrameSource(std::function<QByteArray()> nextFrame = &FrameSource::dataFrame);

    /** Sends nothing more. */
    ~FrameSource();
    Q_DISABLE_COPY(FrameSource)

    QString portPath() const { return m_line.portPath(); }

    /** Unthrottled, so many frames are on their way at most: none gets lost at the receiver. */
    static constexpr int farthestAhead = 100;

    /**
     * Starts to send @p count records, after a channel report that ends the probe and after
     * everything from an earlier start; @p received tells from any thread how many records have
     * arrived.
     */
    void start(int count, Rate rate, std::function<int()> received);

    /** Waits until everything has been sent; then the times may be read. */
    void finish();

    /** Nanoseconds on the monotonic clock at which each record of the last start was sent. */
    const std::vector<int64_t> &sendTimes() const { return m_sendTimes; }

private:
    static QByteArray dataFrame();
    void run(int count, Rate rate);
    void waitForReceiver(int sent);
    void write(const QByteArray &bytes) const;

    Simulator::PseudoTerminal m_line;
    const std::function<QByteArray()> m_nextFrame;
    std::function<int()> m_received;
    /** How many more have been received than sent when none is on its way: from earlier starts. */
    int m_surplus = 0;
    std::vector<int64_t> m_sendTimes;
    std::atomic<bool> m_stop {false};
    std::thread m_thread;
};
