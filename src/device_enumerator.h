#pragma once

#include <QObject>
#include <QString>

#include <memory>
#include <vector>

namespace Tarvos {

/** Display name of the USB dongle. */
constexpr char dongleName[] = "Mirzel";
/** Display name of the Raspberry Pi board. */
constexpr char boardName[] = "Vostrel";

/** A serial port that carries a supported radio device. */
struct DeviceEntry
{
    QString friendlyName; ///< Product name, "Mirzel" or "Vostrel".
    QString path; ///< Device node to open, for example /dev/ttyUSB0.
    quint32 reserved = 0; ///< Always 0; nothing reads it.
    quint16 vendorId = 0; ///< USB vendor id; 0 for the Raspberry Pi board.
    quint16 productId = 0; ///< USB product id; 0 for the Raspberry Pi board.
};

/**
 * Finds the supported radio devices among the machine's serial ports.
 *
 * Two kinds are known: the USB dongle Mirzel behind its FT230X bridge, and the
 * board Vostrel on the UART of a Raspberry Pi. No port is opened.
 */
class DeviceEnumerator : public QObject
{
    Q_OBJECT

public:
    /** Constructs an enumerator that lists no device until the first scan. */
    explicit DeviceEnumerator(QObject *parent);
    ~DeviceEnumerator() override;

    /**
     * Scans the serial ports and replaces the list, in the order in which
     * QSerialPortInfo reports the ports. Always returns 1.
     */
    int listSerialPorts();

    /**
     * Returns the devices found by the last scan. The reference stays valid for
     * the enumerator's life, its contents change with the next scan.
     */
    const std::vector<DeviceEntry> &getList() const;

private:
    std::unique_ptr<std::vector<DeviceEntry>> devices;
};

} // namespace Tarvos
