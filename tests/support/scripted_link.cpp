#include "scripted_link.h"

#include "debug_log.h"
#include "mainwindow.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QSerialPort>
#include <QTimer>
#include <QTimerEvent>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <sys/time.h>

class QUdpSocket;

ScriptedLink *ScriptedLink::active = nullptr;

namespace {

struct PrivateMembers
{
    QSerialPort *Connection::*serial;
    quint32 Connection::*packetCount;
    QString Connection::*hanLine;
    QString Connection::*channelText;
    quint8 Connection::*channel;
    QString Connection::*failLine;
    QString Connection::*promptLine;
    QTimer *Connection::*noFirmwareTimer;
    qint32 Connection::*rxState;
    quint8 Connection::*frameLength;
    quint8 Connection::*frameIndex;
    quint8 (Connection::*frameBuffer)[1024];
};

PrivateMembers privateMembers();

// An explicit instantiation may name what is private.
template<auto... pointers>
struct Reveal
{
    friend PrivateMembers privateMembers() { return {pointers...}; }
};

template struct Reveal<&Connection::serial, &Connection::packetCount, &Connection::hanLine,
                       &Connection::channelText, &Connection::channel, &Connection::failLine,
                       &Connection::promptLine, &Connection::noFirmwareTimer, &Connection::rxState,
                       &Connection::frameLength, &Connection::frameIndex, &Connection::frameBuffer>;

const PrivateMembers members = privateMembers();

bool isRunningTimer(const QObject *object)
{
    const auto *timer = qobject_cast<const QTimer *>(object);
    return timer != nullptr && timer->isActive();
}

} // namespace

/**
 * A serial port without a device behind it: opens, closes and gives what a test puts in without
 * the system's help, many thousand times in a second.
 */
class ScriptedLink::Port : public QSerialPort
{
public:
    bool open(OpenMode mode) override
    {
        setOpenMode(mode);
        return true;
    }

    void close() override
    {
        setOpenMode(NotOpen);
        m_incoming.clear();
    }

    qint64 bytesAvailable() const override
    {
        return m_incoming.size() + QSerialPort::bytesAvailable();
    }

    /** Delivers @p bytes at once, as one read; a closed port loses them. */
    void deliver(const QByteArray &bytes)
    {
        if (isOpen())
            m_incoming = bytes;
        emit readyRead();
    }

    /** Reports an error that the system calls @p reason. */
    void breakLine(const QByteArray &reason)
    {
        setErrorString(reason);
        QMetaObject::invokeMethod(this, "error",
                                  Q_ARG(QSerialPort::SerialPortError, ResourceError));
    }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const auto size = static_cast<int>(std::min<qint64>(maxSize, m_incoming.size()));
        std::copy_n(m_incoming.constData(), size, data);
        m_incoming.remove(0, size);
        return size;
    }

    qint64 writeData(const char *data, qint64 size) override
    {
        record(LinkEvent::Command, QByteArray(data, static_cast<int>(size)));
        return size;
    }

private:
    QByteArray m_incoming;
};

ScriptedLink::ScriptedLink()
    : m_previousHandler(qInstallMessageHandler(handleMessage))
    , m_port(new Port)
{
    active = this;
    replacePort();
    recordSignals();
}

ScriptedLink::~ScriptedLink()
{
    m_port->close();
    delete m_port;
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, true);
    qInstallMessageHandler(m_previousHandler);
    active = nullptr;
}

void ScriptedLink::enterSurroundings() const
{
    MainWindow::numberOfDevices = surroundings.numberOfDevices;
    MainWindow::availableComPorts = surroundings.ports;
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, surroundings.hearsTrace);
}

void ScriptedLink::replacePort()
{
    QSerialPort *&port = m_connection.*members.serial;
    delete port;
    port = m_port;
    QObject::connect(m_port, SIGNAL(error(QSerialPort::SerialPortError)), &m_connection,
                     SLOT(handleError(QSerialPort::SerialPortError)));
    QObject::connect(m_port, SIGNAL(readyRead()), &m_connection, SLOT(readData()));
}

void ScriptedLink::recordSignals()
{
    const auto recordSignal = [this](auto signal, const char *name) {
        QObject::connect(&m_connection, signal, m_port,
                         [name] { record(LinkEvent::Signal, name); });
    };
    recordSignal(&Connection::disconnectGui, "disconnectGui");
    recordSignal(&Connection::showFwUpdatePage, "showFwUpdatePage");
    recordSignal(&Connection::showFwUpdatePageTooManyDevices, "showFwUpdatePageTooManyDevices");
    recordSignal(&Connection::connectOtherDevice, "connectOtherDevice");
    QObject::connect(&m_connection, &Connection::showPacketCount, m_port, [](uint count) {
        record(LinkEvent::Signal, "showPacketCount " + QByteArray::number(count));
    });
    QObject::connect(&m_connection, &Connection::updateChannelGui, m_port, [](const QString &text) {
        record(LinkEvent::Signal, "updateChannelGui " + text.toUtf8());
    });
}

void ScriptedLink::breakLine(const QByteArray &reason)
{
    m_port->breakLine(reason);
}

void ScriptedLink::endProbes()
{
    enterSurroundings();
    const auto timers = m_connection.findChildren<QTimer *>();
    for (QTimer *timer : timers) {
        if (!timer->isActive())
            continue;
        QTimerEvent event(timer->timerId());
        QCoreApplication::sendEvent(timer, &event);
    }
}

void ScriptedLink::selectChannel(int channel)
{
    m_connection.sendU8Parameter(Connection::U8ParamChannel, channel);
}

void ScriptedLink::read(const QByteArray &bytes)
{
    enterSurroundings();
    m_port->deliver(bytes);
}

qint64 ScriptedLink::unread() const
{
    return m_port->bytesAvailable();
}

LinkState ScriptedLink::state() const
{
    LinkState state;
    state.isOpen = m_port->isOpen();
    state.hasProbe = m_connection.*members.noFirmwareTimer != nullptr;
    const QObjectList &children = m_connection.children();
    state.runningProbes =
        static_cast<int>(std::count_if(children.begin(), children.end(), isRunningTimer));
    state.packetCount = m_connection.*members.packetCount;
    state.hanLine = m_connection.*members.hanLine;
    state.channelText = m_connection.*members.channelText;
    state.channel = m_connection.*members.channel;
    state.failLine = m_connection.*members.failLine;
    state.promptLine = m_connection.*members.promptLine;
    state.rxState = m_connection.*members.rxState;
    state.frameLength = m_connection.*members.frameLength;
    state.frameIndex = m_connection.*members.frameIndex;
    std::memcpy(state.frameBuffer.data(), m_connection.*members.frameBuffer,
                state.frameBuffer.size());
    return state;
}

qint64 ScriptedLink::send(const QByteArray &datagram, const QHostAddress &host, quint16 port)
{
    if (active->surroundings.refusesDatagrams)
        return -1;
    constexpr quint16 zepPort = 17754;
    const bool isMeant = host == Connection::host && port == zepPort;
    record(LinkEvent::Datagram, isMeant ? datagram : "astray: " + datagram);
    return datagram.size();
}

void ScriptedLink::record(LinkEvent::Kind kind, const QByteArray &content)
{
    active->m_events.append({kind, content});
}

void ScriptedLink::handleMessage(QtMsgType type, const QMessageLogContext & /*context*/,
                                 const QString &text)
{
    // Qt warns of writing to a closed port, which the window can make the connection do.
    if (type == QtDebugMsg)
        record(LinkEvent::Trace, text.toUtf8());
}

// The linker leads the program's calls of these names here (--wrap), and with them everything
// that leaves the process or comes from outside.
extern "C" {

int __wrap_gettimeofday(timeval *now, void * /*zone*/)
{
    const qint64 microseconds = ScriptedLink::readClock();
    now->tv_sec = static_cast<time_t>(microseconds / 1'000'000);
    now->tv_usec = static_cast<suseconds_t>(microseconds % 1'000'000);
    return 0;
}

// What it is called on a 32-bit system whose time_t has 64 bits.
[[gnu::alias("__wrap_gettimeofday")]] int __wrap___gettimeofday64(timeval *now, void *zone);

// DBG_Printf()
int __wrap__Z10DBG_PrintfjPKcz(uint32_t mask, const char *format, ...)
{
    std::array<char, 256> line = {};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    ScriptedLink::record(LinkEvent::LogLine, mask == DBG_GENERAL ? line.data() : "silent");
    return 0;
}

// QUdpSocket::writeDatagram()
qint64 __wrap__ZN10QUdpSocket13writeDatagramEPKcxRK12QHostAddresst(QUdpSocket * /*socket*/,
                                                                   const char *data, qint64 size,
                                                                   const QHostAddress &host,
                                                                   quint16 port)
{
    return ScriptedLink::send(QByteArray(data, static_cast<int>(size)), host, port);
}
}
