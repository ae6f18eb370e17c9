#pragma once

#include "pseudo_terminal.h"

#include <QByteArray>
#include <QString>

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

    /** Bytes of each radio frame: about the mean of a ZigBee home. */
    static constexpr int frameSize = 39;

    FrameSource();
    ~FrameSource();
    Q_DISABLE_COPY(FrameSource)

    QString portPath() const { return m_line.portPath(); }

    /** Unthrottled, so many frames are on their way at most: none gets lost at the receiver. */
    static constexpr int farthestAhead = 100;

    /**
     * Starts to send @p count records, after a channel report that ends the probe; @p received
     * tells from any thread how many of them have arrived.
     */
    void start(int count, Rate rate, std::function<int()> received);

    /** Waits until everything has been sent; then the times may be read. */
    void finish();

    /** Nanoseconds on the monotonic clock at which each record's last byte was sent. */
    const std::vector<int64_t> &sendTimes() const { return m_sendTimes; }

private:
    void run(int count, Rate rate);
    void waitForTurn(int frame, Rate rate, int64_t *due);
    void write(const QByteArray &bytes) const;

    Simulator::PseudoTerminal m_line;
    QByteArray m_record;
    std::function<int()> m_received;
    int m_lost = 0;
    std::vector<int64_t> m_sendTimes;
    std::thread m_thread;
};
