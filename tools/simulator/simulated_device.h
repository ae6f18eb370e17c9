#pragma once

#include "traffic.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <memory>

namespace Simulator {

class SerialLine;

/**
 * The sniffer firmware at the device's end of a pseudo-terminal of its own. It
 * works on the event loop of the thread that made it. What it says while nobody
 * holds the port open is lost, as on a real line.
 */
class SimulatedDevice : public QObject
{
    Q_OBJECT

public:
    /** Silent answers nothing; Failing answers "\nparms\n" with "fail!" and never sniffs. */
    enum class Firmware { Sniffer, Silent, Failing };
    Q_ENUM(Firmware)

    /** Line is 38400 baud at ten bits a byte; Unthrottled is as fast as the host reads. */
    enum class Rate { Line, Unthrottled };
    Q_ENUM(Rate)

    enum class Repeat { Endless, Once };

    static constexpr int lowestChannel = 11;
    static constexpr int highestChannel = 26;

    struct Settings
    {
        Firmware firmware = Firmware::Sniffer;
        int channel = lowestChannel;
        Rate rate = Rate::Line;
        /** From the start of a frame to that of the next, if the rate allows; 0 is no pause. */
        std::chrono::milliseconds interval {0};
        Repeat repeat = Repeat::Endless;
        Traffic traffic = Traffic::builtIn();
    };

    explicit SimulatedDevice(const Settings &settings, QObject *parent = nullptr);
    ~SimulatedDevice() override;

    /** A frame as the firmware sends it: 0x01, length, device header, frame, 0x04. */
    static QByteArray frameRecord(const QByteArray &frame);

    /** The path for the host to open; kept after hangUp(). */
    QString portPath() const;

    /** Every byte that the host ever wrote, or wrote since clearReceived(). */
    QByteArray received() const;
    void clearReceived();

    int channel() const;
    bool isSniffing() const;

    /** Frame records handed to the host completely since construction. */
    int framesSent() const;

    /** Changes the firmware at once; sniffing ends. */
    void setFirmware(Firmware firmware);

    /** Sends raw bytes in order with everything else. */
    void send(const QByteArray &bytes);

    /**
     * A watchdog restart in the middle of a record: half a record (also from an idle
     * device), then the boot prompt "[vostrel]". Idle afterwards, on the same channel.
     */
    void restart();

    /** Sends bytes in which a parser finds no start of anything; the same for each new device. */
    void sendNoise(int bytes);

    /** Takes the device off the line: the host sees its port vanish. Cannot be undone. */
    void hangUp();

signals:
    /** A command such as "chan 15" arrived, here without its line feeds. */
    void commandReceived(const QByteArray &command);

    /** With Repeat::Once: the last frame has been written. */
    void replayFinished();

private:
    void read(const QByteArray &bytes);
    void execute(const QByteArray &command);
    void answer(const QByteArray &command);
    void setSniffing(bool sniffing);
    void reportProgress();
    QByteArray nextRecord();

    Firmware m_firmware;
    const Repeat m_repeat;
    const std::chrono::milliseconds m_interval;
    int m_channel;
    bool m_sniffing = false;
    quint32 m_noiseState = 1;
    QVector<QByteArray> m_records;
    QByteArray m_received;
    QByteArray m_commandLine;
    QTimer m_pause;
    std::unique_ptr<SerialLine> m_line;
};

} // namespace Simulator
