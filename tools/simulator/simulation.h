#pragma once

#include "machine.h"
#include "options.h"

#include <QString>
#include <QStringList>

#include <map>
#include <memory>

/**
 * The machine with its devices while the command runs: plugs them in and acts on
 * control lines.
 */
class Simulation
{
public:
    explicit Simulation(const Options &options);

    /**
     * Acts on a control line such as "noise ttyUSB0 64". Returns an empty text, or
     * one line that says what is wrong with the control line.
     */
    QString control(const QString &line);

private:
    struct Port
    {
        DeviceOptions options;
        std::unique_ptr<Simulator::SimulatedDevice> device;
    };

    QStringList nodes() const;
    QString act(const QString &action, const QString &argument, Port *port);
    QString sendNoise(const QString &argument, Simulator::SimulatedDevice *device);
    void plugIn(Port *port);
    void unplug(Port *port);

    std::unique_ptr<Simulator::Machine> m_machine;
    std::map<QString, Port> m_ports;
};
