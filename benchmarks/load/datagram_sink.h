#pragma once

#include <QByteArray>

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

/** Receives the forwarder's datagrams on a thread of its own and notes when each came. */
class DatagramSink
{
public:
    /**
     * Binds the forwarder's port on the local host; ends the process when it is taken. Notes the
     * times of the first @p timed datagrams. One that @p accepts refuses ends the reception.
     */
    explicit DatagramSink(int timed, std::function<bool(const QByteArray &)> accepts = nullptr);
    ~DatagramSink();
    Q_DISABLE_COPY(DatagramSink)

    int received() const { return m_received; }

    /** Ends the reception; then the times may be read. */
    void finish();

    /** Nanoseconds on the monotonic clock at which each datagram was received, in order. */
    const std::vector<int64_t> &receiveTimes() const { return m_receiveTimes; }

private:
    void run();

    const int m_socket;
    const size_t m_timed;
    const std::function<bool(const QByteArray &)> m_accepts;
    std::atomic<bool> m_stop {false};
    std::atomic<int> m_received {0};
    std::vector<int64_t> m_receiveTimes;
    std::thread m_thread;
};
