#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QSerialPort>
#include <QString>

class QDebug;
class QTimer;
class QUdpSocket;

/**
 * The link to a radio device that runs sniffer firmware.
 *
 * Owns the serial port to the device and the UDP socket towards the analyser:
 * sends the firmware's text commands, cuts frame records and text reports out of
 * the stream that comes back, and forwards every record as one ZEP datagram.
 * Lives on the GUI thread and answers only by signals.
 */
class Connection : public QObject
{
    Q_OBJECT

public:
    /** Commands without an argument. */
    enum Params {
        ParamSniff = 0, ///< Start sniffing and stream frames.
        ParamIdle = 1 ///< Stop sniffing.
    };

    /** Commands with a numeric argument. */
    enum U8Params {
        U8ParamChannel = 0 ///< IEEE 802.15.4 channel, 11 to 26.
    };

    /** Constructs a closed link on channel 11 and sets host to 127.0.0.1. */
    Connection();
    ~Connection() override;

    /**
     * Opens @p portName at 38400 baud 8N1, greets the firmware and gives it
     * 300 ms to report its channel; without a report the port is closed and a
     * firmware page requested. Returns false when the port cannot be opened.
     */
    bool openSerialPort(const QString &portName);

    /** Sends the idle command and closes the port; does nothing on a closed port. */
    void closeSerialPort();

    /** Writes the command for @p parameter; a failed write is ignored. */
    void sendParameter(Params parameter);

    /**
     * Writes the command for @p parameter with @p value in decimal. The channel
     * of later datagrams follows when the port accepted the write.
     */
    void sendU8Parameter(U8Params parameter, int value);

    /** Destination of every ZEP datagram, read at each send. */
    static QHostAddress host;

    // The order of signals and slots is that of the meta-object and stays as it is.
signals:
    /** A serial port error has closed the port. */
    void disconnectGui();
    /** The socket accepted a datagram, the @p count th since the port was opened. */
    void showPacketCount(uint count);
    /** The device reported its channel: two characters, exactly as it printed them. */
    void updateChannelGui(const QString &ch);
    /** No sniffer firmware answered, and it is clear which device is meant. */
    void showFwUpdatePage();
    /** No sniffer firmware answered, and several devices are present. */
    void showFwUpdatePageTooManyDevices();
    /** Asks for another device to be tried. Nothing emits it, but the window is wired to it. */
    void connectOtherDevice();

private slots:
    void noFirmwareFound();
    void readData();
    void handleError(QSerialPort::SerialPortError error);

private:
    void requestFirmwarePage();
    void checkHalt(char c);
    void parse(char c, QDebug *trace);
    void waitStart(char c);
    void waitLength(char c);
    void readFrame(char c);
    void waitEnd(char c, QDebug *trace);
    void matchChannelTag(char c);
    void readChannel(char c, QDebug *trace);
    void matchFail(char c);
    void sendZepPacket(QByteArray record);

    QSerialPort *serial; ///< Has no parent and lives until the process ends.
    QUdpSocket *udpSocket = nullptr;
    quint32 packetCount = 0;
    quint16 port;
    QString hanLine;
    QString channelText;
    quint8 channel;
    QString failLine;
    QString promptLine;
    QTimer *noFirmwareTimer = nullptr;
    qint32 rxState = 0;
    qint32 spare = 0; ///< Keeps its place among the fields; nothing reads it.
    quint8 frameLength = 0;
    quint8 frameIndex = 0;
    quint8 frameBuffer[1024] = {};
};
