#pragma once

#include "connection.h"
#include "held_probe.h"
#include "log_capture.h"
#include "port_guard.h"
#include "simulated_device.h"

#include <QSignalSpy>

/**
 * A connection with a device at the other end of a real line, and everything
 * that the connection says. The device says only what a test makes it send; a port
 * stays open without a channel report until the test releases the probe.
 */
class DeviceLink
{
public:
    DeviceLink();
    ~DeviceLink();
    Q_DISABLE_COPY(DeviceLink)

    /** Opens the port and waits until the greeting has reached the device. */
    bool open();

    /** Opens the port and lets the device report channel 11, which ends the probe for good. */
    bool openConfirmed();

    /** Waits until the device has received exactly @p bytes since the last clear. */
    bool deviceReceives(const QByteArray &bytes);

    /** Sends @p record to the connection as the firmware frames it. */
    void sendRecord(const QByteArray &record);

    HeldProbe probe;
    LogCapture log;
    Simulator::SimulatedDevice device;
    Connection connection;
    QSignalSpy disconnected;
    QSignalSpy packetCounts;
    QSignalSpy channels;
    QSignalSpy firmwarePages;
    QSignalSpy severalDevicesPages;
    QSignalSpy otherDevices;

private:
    PortGuard m_ports;
};
