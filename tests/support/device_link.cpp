#include "device_link.h"

#include "patience.h"
#include "plugged_device.h"

#include <QTest>

DeviceLink::DeviceLink()
    : device(silentDevice())
    , disconnected(&connection, &Connection::disconnectGui)
    , packetCounts(&connection, &Connection::showPacketCount)
    , channels(&connection, &Connection::updateChannelGui)
    , firmwarePages(&connection, &Connection::showFwUpdatePage)
    , severalDevicesPages(&connection, &Connection::showFwUpdatePageTooManyDevices)
    , otherDevices(&connection, &Connection::connectOtherDevice)
{ }

DeviceLink::~DeviceLink()
{
    loseSomePatience();
}

bool DeviceLink::open()
{
    device.clearReceived();
    if (!connection.openSerialPort(device.portPath()))
        return false;
    // The idle command of an earlier close may be on its way still.
    const bool greeted = QTest::qWaitFor(
        [&] { return device.received().endsWith("\nidle\n\nparms\n"); }, patienceMs());
    if (!greeted)
        return false;
    device.clearReceived();
    return true;
}

bool DeviceLink::openConfirmed()
{
    if (!open())
        return false;
    device.send("HAN: 11\n");
    if (channels.isEmpty() && !channels.wait(patienceMs()))
        return false;
    channels.clear();
    return true;
}

bool DeviceLink::deviceReceives(const QByteArray &bytes)
{
    return QTest::qWaitFor([&] { return device.received() == bytes; }, patienceMs());
}

void DeviceLink::sendRecord(const QByteArray &record)
{
    // One byte is read of an empty record, too.
    const QByteArray bytes = record.isEmpty() ? QByteArray(1, '\0') : record;
    device.send('\x01' + QByteArray(1, static_cast<char>(record.size())) + bytes + '\x04');
}
