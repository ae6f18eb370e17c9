#include "device_enumerator.h"

#include "debug_log.h"

#include <QFileInfo>
#include <QSerialPortInfo>

namespace {

struct UsbProduct
{
    quint16 vendorId;
    quint16 productId;
    const char *name; ///< UTF-8; null ends the table.
};

/** The maker's own USB vendor id; no product carries it yet. */
constexpr quint16 makerVendorId = 0xF055;
constexpr quint16 ftdiVendorId = 0x0403;
constexpr quint16 ft230xProductId = 0x6015;
const QLatin1String ft230xDescription("FT230X Basic UART");

const UsbProduct vkProducts[] = {
    {ftdiVendorId, ft230xProductId, Tarvos::dongleName},
    {0, 0, nullptr},
};

/** The board's UART: the PL011, or the mini UART where Bluetooth took the PL011. */
const QLatin1String piUart("ttyAMA0");
const QLatin1String piMiniUart("ttyS0");
/** Raspberry Pi OS points this link at the UART that is on the pin header. */
const QLatin1String piSerialAlias("/dev/serial0");

bool hasKnownVendor(const QSerialPortInfo &port)
{
    return port.vendorIdentifier() == makerVendorId || port.vendorIdentifier() == ftdiVendorId;
}

bool isCandidate(const QSerialPortInfo &port)
{
    const QString location = port.systemLocation();
    return hasKnownVendor(port) || location.contains(piUart)
        || location.contains(QLatin1String("ttyUSB")) || location.contains(QLatin1String("ttyACM"))
        || location.contains(piMiniUart);
}

void identify(const QSerialPortInfo &port, Tarvos::DeviceEntry *entry)
{
    if (hasKnownVendor(port)) {
        entry->vendorId = port.vendorIdentifier();
        entry->productId = port.productIdentifier();
    } else if (port.description() == ft230xDescription) {
        // Some kernels list the bridge without its USB identifiers.
        entry->vendorId = ftdiVendorId;
        entry->productId = ft230xProductId;
    }
}

/** Returns whether the UART at @p location is the one on the board's pin header. */
bool isBoardUart(const QString &location)
{
    if (!location.endsWith(piUart) && !location.endsWith(piMiniUart))
        return false;

    const QFileInfo alias(piSerialAlias);
    if (alias.exists() && alias.isSymLink()) {
        const QString target = alias.symLinkTarget();
        if (target != location)
            return false;
        DBG_Printf(DBG_GENERAL, "dev %s (%s)\n", qPrintable(location), qPrintable(target));
        return true;
    }

    if (!location.endsWith(piUart))
        return false;
    DBG_Printf(DBG_GENERAL, "dev %s\n", qPrintable(location));
    return true;
}

/** Returns the product's name, or null when the table does not list it. */
const char *findProduct(quint16 vendorId, quint16 productId)
{
    const UsbProduct *product = vkProducts;
    while (product->name && (product->vendorId != vendorId || product->productId != productId))
        ++product;
    return product->name;
}

} // namespace

namespace Tarvos {

DeviceEnumerator::DeviceEnumerator(QObject *parent)
    : QObject(parent)
    , devices(new std::vector<DeviceEntry>)
{ }

DeviceEnumerator::~DeviceEnumerator() = default;

int DeviceEnumerator::listSerialPorts()
{
    devices->clear();

    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : ports) {
        const QString location = port.systemLocation();
        DBG_Printf(DBG_PORT_SCAN, "COM: %s : %s\n", qPrintable(location),
                   qPrintable(port.description()));
        if (!isCandidate(port))
            continue;

        DeviceEntry entry;
        identify(port, &entry);
        entry.path = location;
        if (isBoardUart(location)) {
            entry.friendlyName = QLatin1String(boardName);
        } else if (const char *name = findProduct(entry.vendorId, entry.productId)) {
            entry.friendlyName = QString::fromUtf8(name);
        } else {
            continue;
        }
        devices->push_back(entry);
    }
    return 1;
}

const std::vector<DeviceEntry> &DeviceEnumerator::getList() const
{
    return *devices;
}

} // namespace Tarvos
