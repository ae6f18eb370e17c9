#include "simulated_device.h"

#include "serial_line.h"

namespace Simulator {

namespace {

constexpr char recordStart = '\x01';
constexpr char recordEnd = '\x04';

// A time stamp, the signal's strength and quality, two spare bytes.
constexpr char deviceHeader[] = {0x20, 0x10, 0x08, 0x00, '\xd5', '\xc8', 0x00, 0x00};

qint64 nanosecondsPerByte(SimulatedDevice::Rate rate)
{
    constexpr qint64 bitsPerByte = 10;
    constexpr qint64 baud = 38400;
    return rate == SimulatedDevice::Rate::Line ? bitsPerByte * 1'000'000'000 / baud : 0;
}

} // namespace

SimulatedDevice::SimulatedDevice(const Settings &settings, QObject *parent)
    : QObject(parent)
    , m_firmware(settings.firmware)
    , m_repeat(settings.repeat)
    , m_interval(settings.interval)
    , m_channel(settings.channel)
    , m_line(new SerialLine(nanosecondsPerByte(settings.rate), [this] { return nextRecord(); }))
{
    for (const QByteArray &frame : settings.traffic.frames())
        m_records.append(frameRecord(frame));
    m_pause.setSingleShot(true);
    m_pause.setTimerType(Qt::PreciseTimer);
    connect(&m_pause, &QTimer::timeout, m_line.get(), &SerialLine::resume);
    connect(m_line.get(), &SerialLine::received, this, &SimulatedDevice::read);
    connect(m_line.get(), &SerialLine::framesWrittenChanged, this,
            &SimulatedDevice::reportProgress);
}

SimulatedDevice::~SimulatedDevice() = default;

QByteArray SimulatedDevice::frameRecord(const QByteArray &frame)
{
    const QByteArray record = QByteArray(deviceHeader, sizeof deviceHeader) + frame;
    return recordStart + QByteArray(1, static_cast<char>(record.size())) + record + recordEnd;
}

QString SimulatedDevice::portPath() const
{
    return m_line->portPath();
}

QByteArray SimulatedDevice::received() const
{
    return m_received;
}

void SimulatedDevice::clearReceived()
{
    m_received.clear();
}

int SimulatedDevice::channel() const
{
    return m_channel;
}

bool SimulatedDevice::isSniffing() const
{
    return m_sniffing;
}

int SimulatedDevice::framesSent() const
{
    return m_line->framesWritten();
}

void SimulatedDevice::setFirmware(Firmware firmware)
{
    m_firmware = firmware;
    setSniffing(false);
}

void SimulatedDevice::send(const QByteArray &bytes)
{
    m_line->send(bytes);
}

void SimulatedDevice::restart()
{
    // Its bytes hold no "[", which would spoil the prompt behind it.
    const QByteArray record = frameRecord(QByteArray(20, '\0'));

    setSniffing(false);
    m_line->send(record.left(record.size() / 2) + "[vostrel]");
}

void SimulatedDevice::sendNoise(int bytes)
{
    QByteArray noise;
    while (noise.size() < bytes) {
        // The generator's high bits are the random ones.
        m_noiseState = m_noiseState * 1664525 + 1013904223;
        const char byte = static_cast<char>(m_noiseState >> 24);
        if (byte != recordStart && byte != 'H' && byte != 'f' && byte != '[')
            noise.append(byte);
    }
    m_line->send(noise);
}

void SimulatedDevice::hangUp()
{
    m_line->hangUp();
}

void SimulatedDevice::read(const QByteArray &bytes)
{
    m_received += bytes;
    for (const char byte : bytes) {
        if (byte != '\n') {
            m_commandLine += byte;
        } else if (!m_commandLine.isEmpty()) {
            const QByteArray command = m_commandLine;
            m_commandLine.clear();
            execute(command);
        }
    }
}

void SimulatedDevice::execute(const QByteArray &command)
{
    if (m_firmware == Firmware::Sniffer)
        answer(command);
    else if (m_firmware == Firmware::Failing && command == "parms")
        m_line->send("fail!");
    emit commandReceived(command);
}

void SimulatedDevice::answer(const QByteArray &command)
{
    if (command == "idle" || command == "sniff") {
        setSniffing(command == "sniff");
    } else if (command == "parms") {
        m_line->send("\nHAN: " + QByteArray::number(m_channel) + '\n');
    } else if (command.startsWith("chan ")) {
        const int wanted = command.mid(5).toInt();
        if (wanted >= lowestChannel && wanted <= highestChannel)
            m_channel = wanted;
    }
}

void SimulatedDevice::setSniffing(bool sniffing)
{
    m_sniffing = sniffing;
    m_pause.stop();
    if (sniffing)
        m_line->resume();
    else
        m_line->withdrawFrames();
}

void SimulatedDevice::reportProgress()
{
    if (m_repeat == Repeat::Once && framesSent() == m_records.size())
        emit replayFinished();
}

QByteArray SimulatedDevice::nextRecord()
{
    // Frames that were withdrawn or lost are neither written nor queued: they come again.
    const int index = m_line->framesWritten() + m_line->framesQueued();
    if (!m_sniffing || m_records.isEmpty() || m_pause.isActive()
        || (m_repeat == Repeat::Once && index >= m_records.size()))
        return QByteArray();
    if (m_interval.count() > 0)
        m_pause.start(m_interval);
    return m_records[index % m_records.size()];
}

} // namespace Simulator
