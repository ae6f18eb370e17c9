#include "simulation.h"

#include "mocked_machine.h"
#include "port_folder.h"

#include <QStringList>

#include <cstdio>

using Simulator::Machine;
using Simulator::MockedMachine;
using Simulator::PortFolder;
using Simulator::SimulatedDevice;

namespace {

constexpr int defaultNoise = 64;
constexpr int mostNoise = 100000;

std::unique_ptr<Machine> newMachine(const QString &ports)
{
    if (ports.isEmpty())
        return std::make_unique<MockedMachine>();
    return std::make_unique<PortFolder>(ports);
}

} // namespace

Simulation::Simulation(const Options &options)
    : m_machine(newMachine(options.ports))
{
    for (const DeviceOptions &device : options.devices) {
        Port &port = m_ports[device.node];
        port.options = device;
        plugIn(&port);
    }
    if (!options.serial0.isEmpty())
        m_machine->linkSerial0(options.serial0);
}

QString Simulation::control(const QString &line)
{
    const QStringList words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QString action = words.value(0);
    const bool isNoise = action == QLatin1String("noise");
    static const QStringList actions = {QStringLiteral("unplug"),  QStringLiteral("plug"),
                                        QStringLiteral("restart"), QStringLiteral("noise"),
                                        QStringLiteral("hangup"),  QStringLiteral("fail"),
                                        QStringLiteral("flash")};
    if (!actions.contains(action))
        return QStringLiteral("unknown control line '%1'; there are %2")
            .arg(line, actions.join(QStringLiteral(", ")));
    if (words.size() < 2 || words.size() > (isNoise ? 3 : 2))
        return QStringLiteral("'%1' is not %2 NODE%3")
            .arg(line, action, isNoise ? QStringLiteral(" [BYTES]") : QString());

    const auto found = m_ports.find(words[1]);
    if (found == m_ports.end())
        return QStringLiteral("no device on node '%1'; there are %2")
            .arg(words[1], nodes().join(QStringLiteral(", ")));
    return act(action, words.value(2), &found->second);
}

QStringList Simulation::nodes() const
{
    QStringList nodes;
    for (const auto &port : m_ports)
        nodes.append(port.first);
    return nodes;
}

QString Simulation::act(const QString &action, const QString &argument, Port *port)
{
    const bool plug = action == QLatin1String("plug");
    if (plug == m_machine->isPluggedIn(port->options.node))
        return QStringLiteral("%1 is %2 plugged in")
            .arg(port->options.node, plug ? QStringLiteral("already") : QStringLiteral("not"));

    if (plug)
        plugIn(port);
    else if (action == QLatin1String("unplug"))
        unplug(port);
    else if (action == QLatin1String("restart"))
        port->device->restart();
    else if (action == QLatin1String("hangup"))
        port->device->hangUp();
    else if (action == QLatin1String("fail"))
        port->device->setFirmware(SimulatedDevice::Firmware::Failing);
    else if (action == QLatin1String("flash"))
        port->device->setFirmware(SimulatedDevice::Firmware::Sniffer);
    else
        return sendNoise(argument, port->device.get());
    return QString();
}

QString Simulation::sendNoise(const QString &argument, SimulatedDevice *device)
{
    bool isNumber = true;
    const int bytes = argument.isEmpty() ? defaultNoise : argument.toInt(&isNumber);
    if (!isNumber || bytes < 1 || bytes > mostNoise)
        return QStringLiteral("noise takes 1 to %1 bytes, not '%2'").arg(mostNoise).arg(argument);
    device->sendNoise(bytes);
    return QString();
}

void Simulation::plugIn(Port *port)
{
    const QString node = port->options.node;
    port->device = std::make_unique<SimulatedDevice>(port->options.settings);
    const SimulatedDevice *device = port->device.get();
    QObject::connect(device, &SimulatedDevice::replayFinished, device, [node, device] {
        std::fprintf(stderr, "fennix-simulator: %s has sent all %d frames\n", qPrintable(node),
                     device->framesSent());
    });
    m_machine->plugIn(port->options.kind, node, port->device->portPath());
}

void Simulation::unplug(Port *port)
{
    // Pulling the plug hangs the line up as well as taking the node away.
    port->device->hangUp();
    m_machine->unplug(port->options.node);
}
