#pragma once

#include "connection.h"
#include "link_record.h"

class ScriptedPort;

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

    void open(const QString &portName) { m_connection.openSerialPort(portName); }
    void close() { m_connection.closeSerialPort(); }
    void breakLine(const QString &reason);
    /** The time of every probe that still runs is over. */
    void endProbes();
    void selectChannel(int channel);
    void read(const QByteArray &bytes);

    void find(int numberOfDevices, const std::vector<QString> &ports);
    void refuseDatagrams(bool refused) { m_surroundings.refusesDatagrams = refused; }
    static void hearTrace(bool heard);

    /** Bytes that a read has left in the port. */
    qint64 unread() const;
    LinkState state() const;
    const QVector<LinkEvent> &events() const { return m_events; }
    void forgetEvents() { m_events.clear(); }

    /** What stands for the socket: returns -1 when the datagram is refused. */
    static qint64 send(const QByteArray &datagram, const QHostAddress &host, quint16 port);
    static void record(LinkEvent::Kind kind, const QByteArray &content);
    static qint64 readClock();

private:
    void replacePort();
    void recordSignals();
    static void handleMessage(QtMsgType type, const QMessageLogContext &context,
                              const QString &text);

    static ScriptedLink *active;
    QtMessageHandler m_previousHandler;
    Surroundings m_surroundings;
    QVector<LinkEvent> m_events;
    Connection m_connection;
    ScriptedPort *m_port;
};
