#pragma once

#include "pseudo_terminal.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <thread>
#include <vector>

/**
 * A device that sends frame records from a thread of its own, so that it costs the
 * thread under measurement nothing, and notes when it has sent each.
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

    /** Starts to send @p count records, after a channel report that ends the probe. */
    void start(int count, Rate rate);

    /** Waits until everything has been sent; then the times may be read. */
    void finish();

    /** Nanoseconds on the monotonic clock at which each record's last byte was sent. */
    const std::vector<int64_t> &sendTimes() const { return m_sendTimes; }

private:
    void run(int count, Rate rate);
    void write(const QByteArray &bytes) const;

    Simulator::PseudoTerminal m_line;
    QByteArray m_record;
    std::vector<int64_t> m_sendTimes;
    std::thread m_thread;
};
