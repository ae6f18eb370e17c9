#pragma once

#include "pseudo_terminal.h"
#include "seeded_frames.h"
#include "soak.h"

#include <QSemaphore>

#include <atomic>
#include <thread>

/** So many frames are on their way at most: the analyser's socket has room for all of them. */
constexpr int farthestAhead = 100;

/** Sends frame records from a thread of its own, as fast as there is room for their datagrams. */
class FloodingDevice
{
public:
    explicit FloodingDevice(QSemaphore *room);
    ~FloodingDevice();
    Q_DISABLE_COPY(FloodingDevice)

    QString portPath() const { return m_line.portPath(); }

    void reportChannel() { write("\nHAN: 11\n"); }

    /** Starts to send so many records, once those of an earlier start are on their way. */
    void start(int frames);

    quint32 framesSent() const { return m_framesSent; }
    qint64 bytesSent() const { return m_bytesSent; }

private:
    void run(int frames);
    void write(const QByteArray &bytes);

    Simulator::PseudoTerminal m_line;
    QSemaphore *m_room;
    SeededFrames m_frames {Soak::seed()};
    std::atomic<qint64> m_bytesSent {0};
    std::atomic<quint32> m_framesSent {0};
    std::atomic<bool> m_stop {false};
    std::thread m_thread;
};

/**
 * Listens where Wireshark would, on a thread of its own, and holds every datagram against the
 * frame that was sent. A gap in the sequence is counted, any other difference ends the reception.
 */
class FloodedAnalyser
{
public:
    explicit FloodedAnalyser(QSemaphore *room);
    ~FloodedAnalyser();
    Q_DISABLE_COPY(FloodedAnalyser)

    quint32 received() const { return m_received; }
    quint32 missing() const { return m_missing; }

private:
    void run();
    bool isExpected(const QByteArray &datagram);

    const int m_socket;
    QSemaphore *m_room;
    SeededFrames m_frames {Soak::seed()};
    quint32 m_nextSequenceNumber = 1;
    std::atomic<quint32> m_received {0};
    std::atomic<quint32> m_missing {0};
    std::atomic<bool> m_stop {false};
    std::thread m_thread;
};
