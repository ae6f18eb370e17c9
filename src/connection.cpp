#include "connection.h"

#include "debug_log.h"
#include "mainwindow.h"

#include <QDataStream>
#include <QDebug>
#include <QLoggingCategory>
#include <QSignalBlocker>
#include <QTimer>
#include <QUdpSocket>

#include <sys/time.h>

#include <algorithm>
#include <optional>
#include <utility>

QHostAddress Connection::host;

namespace {

// A line feed before each command ends whatever partial line the firmware holds.
constexpr char idleCommand[] = "\nidle\n";
constexpr char sniffCommand[] = "\nsniff\n";
constexpr char parametersCommand[] = "\nparms\n";
constexpr char channelCommand[] = "\nchan ";

constexpr qint32 deviceBaudRate = 38400;
constexpr int noFirmwareTimeoutMs = 300;

/** UDP port on which Wireshark dissects ZEP. */
constexpr quint16 zepPort = 17754;
constexpr quint8 defaultChannel = 11;

/** The board's port, which stays listed beside a single dongle. */
const QLatin1String boardPort("/dev/ttyS0");

const QLatin1String channelTag("HAN: ");
const QLatin1String failureTag("fail!");
const QLatin1String prompt("[vostrel]");

constexpr char startByte = 0x01;
constexpr char endByte = 0x04;
constexpr int channelDigits = 2;

/** Bytes that the firmware puts in front of each radio frame; not interpreted. */
constexpr int deviceHeaderSize = 8;

constexpr quint8 zepVersion = 2;
constexpr quint8 zepTypeData = 1;
constexpr quint8 zepTypeAcknowledgement = 2;
constexpr int zepDataHeaderSize = 32;
constexpr char zepReserved[10] = {};

/** Longest payload that goes out as an acknowledgement, which carries none. */
constexpr quint8 longestAcknowledgement = 5;

/** Seconds from 1 January 1900, where NTP time starts, to 1 January 1970. */
constexpr quint32 ntpEpochOffset = 2208988800U;

enum RxState { WaitStart, WaitLength, ReadFrame, WaitEnd, MatchChannelTag, ReadChannel, MatchFail };

/**
 * Returns whether @p matched followed by @p c is a beginning of @p tag.
 *
 * The texts are compared as well as the position, since an abandoned report can
 * leave more in @p matched than the tag's beginning.
 */
bool continues(const QString &matched, char c, QLatin1String tag)
{
    const int position = matched.size();
    return position < tag.size() && tag.latin1()[position] == c
        && matched == QLatin1String(tag.latin1(), position);
}

/** Empties @p text but keeps its storage, so that matching allocates nothing. */
void restart(QString *text)
{
    if (!text->isEmpty())
        text->resize(0);
}

void traceRecord(const QByteArray &record, QDebug *trace)
{
    // Given to QDebug as bytes, they would be escaped one by one: more work than to send them.
    const QByteArray quoted = '"' + record.toHex() + '"';
    *trace << "len: " << static_cast<uint>(record.size()) << "send: " << quoted.constData() << "\n";
}

/** Returns @p microseconds as a 32-bit binary fraction of a second. */
quint32 ntpFraction(qint64 microseconds)
{
    const double fraction = static_cast<double>(microseconds + 1) * 4294967296.0 * 1e-6;
    return fraction < 4294967295.0 ? static_cast<quint32>(fraction) : 0xFFFFFFFFU;
}

/**
 * Returns the ZEP v2 datagram for @p frame, captured on @p channel at @p time, which
 * carries the program's running @p number. Multi-byte fields are big-endian. An acknowledgement
 * ends with its number: Wireshark recognises none with a byte behind it.
 *
 * | offset in data | size | in an acknowledgement | field |
 * |---|---|---|---|
 * | 0 | 2 | 0 | "EX" |
 * | 2 | 1 | 2 | version, 2 |
 * | 3 | 1 | 3 | type: 1 for data, 2 for an acknowledgement |
 * | 4 | 1 | | channel |
 * | 5 | 2 | | device id, 0 |
 * | 7 | 1 | | LQI/CRC mode, 0 whatever the frame ends with |
 * | 8 | 1 | | LQI, 0 |
 * | 9 | 4 | | seconds since 1900 |
 * | 13 | 4 | | fraction of a second |
 * | 17 | 4 | 4 | number |
 * | 21 | 10 | | reserved, 0 |
 * | 31 | 1 | | length of the frame |
 * | 32 | length | | the frame |
 */
QByteArray zepPacket(const QByteArray &frame, quint8 channel, const timeval &time, quint32 number)
{
    const auto length = static_cast<quint8>(frame.size());
    const bool isData = length > longestAcknowledgement;

    QByteArray packet;
    packet.reserve(zepDataHeaderSize + length);
    QDataStream stream(&packet, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::BigEndian);
    stream << quint8('E') << quint8('X') << zepVersion
           << (isData ? zepTypeData : zepTypeAcknowledgement);
    if (isData) {
        stream << channel << quint16(0) << quint8(0) << quint8(0);
        stream << static_cast<quint32>(time.tv_sec) + ntpEpochOffset << ntpFraction(time.tv_usec);
    }
    stream << number;
    if (isData) {
        stream.writeRawData(zepReserved, sizeof(zepReserved));
        stream << length;
        stream.writeRawData(frame.constData(), length);
    }
    return packet;
}

} // namespace

Connection::Connection()
    : serial(new QSerialPort)
    , port(zepPort)
    , channel(defaultChannel)
{
    // One character more than the tag, since the first one of a new attempt is
    // appended to what an abandoned attempt has left.
    hanLine.reserve(channelTag.size() + 1);
    channelText.reserve(channelDigits);
    failLine.reserve(failureTag.size() + 1);
    promptLine.reserve(prompt.size());

    connect(serial, SIGNAL(error(QSerialPort::SerialPortError)), this,
            SLOT(handleError(QSerialPort::SerialPortError)));
    connect(serial, &QIODevice::readyRead, this, &Connection::readData);

    udpSocket = new QUdpSocket(this);
    host = QHostAddress(QStringLiteral("127.0.0.1"));
}

Connection::~Connection() = default;

bool Connection::openSerialPort(const QString &portName)
{
    serial->setPortName(portName);
    serial->setBaudRate(deviceBaudRate);
    serial->setDataBits(QSerialPort::Data8);
    serial->setParity(QSerialPort::NoParity);
    serial->setStopBits(QSerialPort::OneStop);
    serial->setFlowControl(QSerialPort::NoFlowControl);

    if (!serial->open(QIODevice::ReadWrite)) {
        DBG_Printf(DBG_GENERAL, "Connection error\n");
        return false;
    }

    DBG_Printf(DBG_GENERAL, "Connected to %s\n", qPrintable(portName));
    serial->write(idleCommand);
    serial->write(parametersCommand);
    packetCount = 0;
    // "Test A" and "Test B" trace the start of the probe. They are kept word for word.
    DBG_Printf(DBG_GENERAL, "Test A\n");
    noFirmwareTimer = new QTimer(this);
    noFirmwareTimer->setSingleShot(true);
    connect(noFirmwareTimer, SIGNAL(timeout()), this, SLOT(noFirmwareFound()));
    noFirmwareTimer->start(noFirmwareTimeoutMs);
    DBG_Printf(DBG_GENERAL, "Test B\n");
    return true;
}

void Connection::closeSerialPort()
{
    if (!serial->isOpen())
        return;

    sendParameter(ParamIdle);
    {
        // QSerialPort writes from the event loop and drops on close what it has
        // not written. A line that breaks during the flush must not report an
        // error for the disconnect that is already on its way.
        const QSignalBlocker blocker(serial);
        serial->flush();
        serial->close();
    }
    DBG_Printf(DBG_GENERAL, "Disconnected\n");
    rxState = WaitStart;
}

void Connection::sendParameter(Params parameter)
{
    switch (parameter) {
    case ParamSniff:
        serial->write(sniffCommand);
        break;
    case ParamIdle:
        serial->write(idleCommand);
        break;
    }
}

void Connection::sendU8Parameter(U8Params parameter, int value)
{
    if (parameter != U8ParamChannel)
        return;

    const QString command =
        QLatin1String(channelCommand) + QString::number(value, 10) + QLatin1Char('\n');
    if (serial->write(command.toLatin1()) != -1)
        channel = static_cast<quint8>(value);
}

void Connection::noFirmwareFound()
{
    closeSerialPort();
    requestFirmwarePage();
}

void Connection::handleError(QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::NoError)
        return;

    DBG_Printf(DBG_GENERAL, "Critical Error: %s\n", qPrintable(serial->errorString()));
    closeSerialPort();
    emit disconnectGui();
}

/** Asks for the firmware page that suits the devices found by the last scan. */
void Connection::requestFirmwarePage()
{
    const std::vector<QString> &ports = MainWindow::availableComPorts;
    const bool boardListed = std::find(ports.begin(), ports.end(), boardPort) != ports.end();

    if (MainWindow::numberOfDevices == 1 || (MainWindow::numberOfDevices == 2 && boardListed))
        emit showFwUpdatePage();
    else
        emit showFwUpdatePageTooManyDevices();
}

void Connection::readData()
{
    // Skip the trace when debug output is off: building it is a quarter of what a frame costs.
    std::optional<QDebug> message;
    if (QLoggingCategory::defaultCategory()->isDebugEnabled())
        message.emplace(qDebug());
    QDebug *const trace = message ? &*message : nullptr;

    while (!serial->atEnd()) {
        char c = 0;
        serial->getChar(&c);
        checkHalt(c);
        parse(c, trace);
    }
}

/** Watches for the prompt that a watchdog restart prints, and resumes sniffing. */
void Connection::checkHalt(char c)
{
    if (!continues(promptLine, c, prompt)) {
        restart(&promptLine);
        return;
    }

    promptLine.append(QLatin1Char(c));
    if (promptLine.size() < prompt.size())
        return;

    DBG_Printf(DBG_GENERAL, "[warning] watchdog\n");
    restart(&promptLine);
    rxState = WaitStart;
    serial->write(idleCommand);
    serial->write(sniffCommand);
}

/**
 * Runs one byte of the device's stream through the state machine.
 *
 * A frame record is 01 L, L bytes, 04, for example 01 02 AA BB 04; text reports
 * are "HAN: 15\n" and "fail!".
 */
void Connection::parse(char c, QDebug *trace)
{
    switch (rxState) {
    case WaitStart:
        waitStart(c);
        break;
    case WaitLength:
        waitLength(c);
        break;
    case ReadFrame:
        readFrame(c);
        break;
    case WaitEnd:
        waitEnd(c, trace);
        break;
    case MatchChannelTag:
        matchChannelTag(c);
        break;
    case ReadChannel:
        readChannel(c, trace);
        break;
    case MatchFail:
        matchFail(c);
        break;
    }
}

void Connection::waitStart(char c)
{
    if (c == startByte) {
        rxState = WaitLength;
    } else if (c == channelTag.latin1()[0]) {
        hanLine.append(QLatin1Char(c));
        rxState = MatchChannelTag;
    } else if (c == failureTag.latin1()[0]) {
        failLine.append(QLatin1Char(c));
        rxState = MatchFail;
    }
}

void Connection::waitLength(char c)
{
    frameLength = static_cast<quint8>(c);
    frameIndex = 0;
    rxState = ReadFrame;
}

void Connection::readFrame(char c)
{
    frameBuffer[frameIndex] = static_cast<quint8>(c);
    // Signed, so that an announced length of 0 ends after its one stored byte.
    if (frameIndex >= frameLength - 1)
        rxState = WaitEnd;
    ++frameIndex;
}

void Connection::waitEnd(char c, QDebug *trace)
{
    if (c != endByte)
        return;

    rxState = WaitStart;
    QByteArray record(reinterpret_cast<const char *>(frameBuffer), frameLength);
    if (trace)
        traceRecord(record, trace);
    sendZepPacket(std::move(record));
}

void Connection::matchChannelTag(char c)
{
    if (!continues(hanLine, c, channelTag)) {
        restart(&hanLine);
        rxState = WaitStart;
        return;
    }

    hanLine.append(QLatin1Char(c));
    if (hanLine.size() == channelTag.size())
        rxState = ReadChannel;
}

void Connection::readChannel(char c, QDebug *trace)
{
    if (noFirmwareTimer) {
        noFirmwareTimer->stop();
        noFirmwareTimer->deleteLater();
        noFirmwareTimer = nullptr;
    }

    if (channelText.size() < channelDigits) {
        channelText.append(QLatin1Char(c));
        return;
    }

    // The window is told what the device printed, also when it is no number.
    emit updateChannelGui(channelText);
    bool isNumber = false;
    const int reported = channelText.toInt(&isNumber, 10);
    channel = isNumber ? static_cast<quint8>(reported) : defaultChannel;
    if (trace)
        *trace << "set channel: " << static_cast<int>(channel);
    restart(&hanLine);
    restart(&channelText);
    rxState = WaitStart;
}

void Connection::matchFail(char c)
{
    if (!continues(failLine, c, failureTag)) {
        restart(&failLine);
        rxState = WaitStart;
        return;
    }

    failLine.append(QLatin1Char(c));
    if (failLine.size() < failureTag.size())
        return;

    restart(&failLine);
    rxState = WaitStart;
    closeSerialPort();
    DBG_Printf(DBG_GENERAL, "number of Devices: %i\n", MainWindow::numberOfDevices);
    DBG_Printf(DBG_GENERAL, "available COM ports size: %i\n",
               static_cast<int>(MainWindow::availableComPorts.size()));
    requestFirmwarePage();
}

/**
 * Sends one frame record as a ZEP v2 datagram, the format that Wireshark
 * dissects: a data packet with the radio frame, or an acknowledgement without
 * payload for a frame of at most five bytes.
 */
void Connection::sendZepPacket(QByteArray record)
{
    static quint32 seqNum = 1;

    record.remove(0, deviceHeaderSize);
    frameLength = static_cast<quint8>(record.size());
    timeval now;
    gettimeofday(&now, nullptr);
    const QByteArray datagram = zepPacket(record, channel, now, seqNum++);

    if (udpSocket->writeDatagram(datagram, host, port) == -1) {
        DBG_Printf(DBG_GENERAL, "ZEP Error: %s\n", qPrintable(udpSocket->errorString()));
        return;
    }
    emit showPacketCount(++packetCount);
}
