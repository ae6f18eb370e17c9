#pragma once

#include "mocked_machine.h"
#include "simulated_device.h"

/** A device that says only what a test makes it send. */
Simulator::SimulatedDevice::Settings silentDevice();

/** A device that sends a frame every @p interval, however long the line would take. */
Simulator::SimulatedDevice::Settings fastDevice(std::chrono::milliseconds interval);

/** A simulated dongle that is plugged into a machine for as long as it lives. */
class PluggedDevice : public Simulator::SimulatedDevice
{
public:
    explicit PluggedDevice(Simulator::MockedMachine *machine, const Settings &settings = {},
                           QString node = QStringLiteral("ttyUSB0"));
    ~PluggedDevice() override;

    /** Takes the node away and hangs up, for good. */
    void pull();

private:
    Simulator::MockedMachine *m_machine;
    const QString m_node;
};
