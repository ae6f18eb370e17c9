#include "scripted_link.h"

#include "mainwindow.h"
#include "scripted_port.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QTimer>
#include <QTimerEvent>

#include <algorithm>
#include <cstring>

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

ScriptedLink::ScriptedLink()
    : m_previousHandler(qInstallMessageHandler(handleMessage))
    , m_port(new ScriptedPort)
{
    active = this;
    replacePort();
    recordSignals();
    find(m_surroundings.numberOfDevices, m_surroundings.ports);
}

ScriptedLink::~ScriptedLink()
{
    m_port->close();
    delete m_port;
    hearTrace(true);
    qInstallMessageHandler(m_previousHandler);
    active = nullptr;
}

void ScriptedLink::replacePort()
{
    QSerialPort *&port = m_connection.*members.serial;
    delete port;
    port = m_port;
    QObject::connect(m_port, SIGNAL(error(QSerialPort::SerialPortError)), &m_connection,
                     SLOT(handleError(QSerialPort::SerialPortError)));
    QObject::connect(m_port, SIGNAL(readyRead()), &m_connection, SLOT(readData()));
    QObject::connect(m_port, &ScriptedPort::written, m_port,
                     [](const QByteArray &bytes) { record(LinkEvent::Command, bytes); });
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

void ScriptedLink::breakLine(const QString &reason)
{
    m_port->breakLine(reason);
}

void ScriptedLink::endProbes()
{
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
    m_port->deliver(bytes);
}

void ScriptedLink::find(int numberOfDevices, const std::vector<QString> &ports)
{
    MainWindow::numberOfDevices = numberOfDevices;
    MainWindow::availableComPorts = ports;
}

void ScriptedLink::hearTrace(bool heard)
{
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, heard);
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
    if (active->m_surroundings.refusesDatagrams)
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

qint64 ScriptedLink::readClock()
{
    return active->m_surroundings.readClock();
}

void ScriptedLink::handleMessage(QtMsgType type, const QMessageLogContext & /*context*/,
                                 const QString &text)
{
    // Qt warns of writing to a closed port, which the window can make the connection do.
    if (type == QtDebugMsg)
        record(LinkEvent::Trace, text.toUtf8());
}
