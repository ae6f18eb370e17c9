#pragma once

#include "mocked_machine.h"
#include "simulated_device.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

/** One device of the machine: what it is, where it sits, how it behaves. */
struct DeviceOptions
{
    Simulator::MockedMachine::Kind kind = Simulator::MockedMachine::Kind::Mirzel;
    QString node;
    Simulator::SimulatedDevice::Settings settings;
};

struct Options
{
    QVector<DeviceOptions> devices;
    QString serial0;
    /** Where the ports are to appear; empty for a mocked machine. */
    QString ports;
    QStringList command;
};

/** Why the program cannot start: one line for the user and the exit code. */
struct Failure
{
    QString message;
    int exitCode = 1;
};

/**
 * Reads the command line and the capture that it names. Without a value, failure
 * is filled in; --help and --version print their text and end the program.
 */
std::optional<Options> parseOptions(const QStringList &arguments, Failure *failure);
