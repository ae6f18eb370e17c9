#pragma once

#include "pseudo_terminal.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <deque>
#include <functional>

namespace Simulator {

/**
 * The device's end of the line: reads what the host writes and writes a queue of
 * messages at the line's pace. Nothing is lost or reordered while the host holds
 * the port open; what is said or waits while it does not is dropped.
 */
class SerialLine : public QObject
{
    Q_OBJECT

public:
    /** Gives the next frame record to send, or nothing when there is none now. */
    using FrameSource = std::function<QByteArray()>;

    /** A byte takes the given time; 0 writes as fast as the host reads. */
    SerialLine(qint64 nanosecondsPerByte, FrameSource source, QObject *parent = nullptr);

    QString portPath() const { return m_terminal.portPath(); }

    /** Queues bytes behind everything that is queued already. */
    void send(const QByteArray &bytes);

    /** Asks the frame source anew, after it had nothing to give. */
    void resume();

    /** Takes frames back of which no byte has been written. */
    void withdrawFrames();

    /** Frame records handed to the host completely, and those on their way. */
    int framesWritten() const { return m_framesWritten; }
    int framesQueued() const;

    /** Takes the device off the line for good. */
    void hangUp();

signals:
    void received(const QByteArray &bytes);

    /** The number of frames written grew. */
    void framesWrittenChanged();

private:
    struct Message
    {
        QByteArray bytes;
        bool isFrame;
    };

    bool isThrottled() const { return m_nanosecondsPerByte > 0; }
    bool checkHeldOpen();
    void setHeldOpen(bool heldOpen);
    void readAvailable();
    void fillFromSource();
    void startHead(qint64 begin);
    void stopHead();
    void startByteTimer();
    void onByteTimer();
    void onWritable();
    void writeDue(qint64 nextBegin);
    bool writeOnce();
    void removeWritten(int count);

    PseudoTerminal m_terminal;
    QSocketNotifier m_readable;
    QSocketNotifier m_writable;
    QTimer m_openPoll;
    QTimer m_byteTimer;
    QElapsedTimer m_clock;
    const qint64 m_nanosecondsPerByte;
    const FrameSource m_source;
    std::deque<Message> m_queue;
    qint64 m_lastByteDue = 0;
    int m_headWritten = 0;
    int m_framesWritten = 0;
    bool m_busy = false;
    bool m_heldOpen = false;
};

} // namespace Simulator
