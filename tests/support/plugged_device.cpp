#include "plugged_device.h"

#include <utility>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

SimulatedDevice::Settings silentDevice()
{
    SimulatedDevice::Settings settings;
    settings.firmware = SimulatedDevice::Firmware::Silent;
    return settings;
}

SimulatedDevice::Settings fastDevice(std::chrono::milliseconds interval)
{
    SimulatedDevice::Settings settings;
    settings.rate = SimulatedDevice::Rate::Unthrottled;
    settings.interval = interval;
    return settings;
}

PluggedDevice::PluggedDevice(MockedMachine *machine, const Settings &settings, QString node)
    : SimulatedDevice(settings)
    , m_machine(machine)
    , m_node(std::move(node))
{
    m_machine->plugIn(MockedMachine::Kind::Mirzel, m_node, portPath());
}

PluggedDevice::~PluggedDevice()
{
    m_machine->unplug(m_node);
}

void PluggedDevice::pull()
{
    m_machine->unplug(m_node);
    hangUp();
}
