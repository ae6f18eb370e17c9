#pragma once

#include "options.h"

/**
 * Reads values of --device (KIND[:OPTION[,OPTION...]]) and numbers the nodes of
 * each kind as Linux does. Every device starts from the given settings.
 */
class DeviceOptionsParser
{
public:
    explicit DeviceOptionsParser(Simulator::SimulatedDevice::Settings settings);

    /** Reads one value; without a result, error says in one line what is wrong. */
    std::optional<DeviceOptions> parse(const QString &value, QString *error);

private:
    QString nextNode(Simulator::MockedMachine::Kind kind);

    const Simulator::SimulatedDevice::Settings m_settings;
    int m_usbCount = 0;
    int m_acmCount = 0;
};
