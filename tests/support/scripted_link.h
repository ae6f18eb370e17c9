#pragma once

#include "connection.h"
#include "link_record.h"

/**
 * The program's own connection on a port without a device, in surroundings that a test sets, and
 * a record of what it does. One at a time. The linker leads its datagrams, log lines and readings
 * of the clock here, which fennix_script_link() arranges for a test.
 */
class ScriptedLink
{
public:
    ScriptedLink();
    ~ScriptedLink();
    Q_DISABLE_COPY(ScriptedLink)

    Surroundings surroundings;

    void open(const QByteArray &portName) { m_connection.openSerialPort(portName); }
    void close() { m_connection.closeSerialPort(); }
    void breakLine(const QByteArray &reason);
    /** The time of every probe that still runs is over. */
    void endProbes();
    void selectChannel(int channel);
    void read(const QByteArray &bytes);

    /** Bytes that a read has left in the port. */
    qint64 unread() const;
    LinkState state() const;
    const QVector<LinkEvent> &events() const { return m_events; }
    void forgetEvents() { m_events.clear(); }

    /** Adds to the events of the one that there is. */
    static void record(LinkEvent::Kind kind, const QByteArray &content);
    /** What stands for the socket: returns -1 when the datagram is refused. */
    static qint64 send(const QByteArray &datagram, const QHostAddress &host, quint16 port);
    static qint64 readClock() { return active->surroundings.readClock(); }

private:
    class Port;

    void enterSurroundings() const;
    void replacePort();
    void recordSignals();
    static void handleMessage(QtMsgType type, const QMessageLogContext &context,
                              const QString &text);

    static ScriptedLink *active;
    QtMessageHandler m_previousHandler;
    QVector<LinkEvent> m_events;
    Connection m_connection;
    Port *m_port;
};
