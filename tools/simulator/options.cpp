#include "options.h"

#include "device_options.h"

#include <QCommandLineParser>
#include <QDir>

#include <algorithm>

using Simulator::SimulatedDevice;
using Simulator::Traffic;

namespace {

constexpr int usageError = 2;
constexpr int longestInterval = 60000;

const char description[] =
    "Starts COMMAND on a mocked machine whose only serial ports are simulated devices.\n\n"
    "While COMMAND runs, standard input takes control lines: unplug NODE, plug NODE,\n"
    "restart NODE, noise NODE [BYTES], hangup NODE, fail NODE,\n"
    "flash NODE.";

void declareOptions(QCommandLineParser *parser)
{
    parser->setApplicationDescription(QString::fromLatin1(description));
    parser->setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    parser->addHelpOption();
    parser->addVersionOption();
    parser->addOptions({
        {QStringLiteral("device"),
         QStringLiteral(
             "A device: mirzel (default), mirzel-without-ids, vostrel, foreign-ftdi or "
             "foreign-acm, with options after a colon, joined by commas: silent, "
             "failing, channel=N (11 to 26); for vostrel also ttyAMA0 or ttyS0. May be repeated."),
         QStringLiteral("kind[:options]")},
        {QStringLiteral("serial0"), QStringLiteral("Make /dev/serial0 a link to this node."),
         QStringLiteral("node")},
        {QStringLiteral("ports"),
         QStringLiteral("Mock no machine: the ports are links in this folder, named as the nodes."),
         QStringLiteral("folder")},
        {QStringLiteral("replay"),
         QStringLiteral("Send the frames of this pcap or pcapng capture."), QStringLiteral("file")},
        {QStringLiteral("once"), QStringLiteral("Send the frames once, not over and over.")},
        {QStringLiteral("unthrottled"), QStringLiteral("Send as fast as the port is read.")},
        {QStringLiteral("interval"),
         QStringLiteral("Start a frame every so many milliseconds, not one right after the other."),
         QStringLiteral("ms")},
    });
    parser->addPositionalArgument(QStringLiteral("COMMAND"), QStringLiteral("What to start."),
                                  QStringLiteral("[--] COMMAND [ARGUMENT...]"));
}

bool readInterval(const QCommandLineParser &parser, SimulatedDevice::Settings *settings)
{
    if (!parser.isSet(QStringLiteral("interval")))
        return true;
    bool isNumber = false;
    const int interval = parser.value(QStringLiteral("interval")).toInt(&isNumber);
    settings->interval = std::chrono::milliseconds(interval);
    return isNumber && interval >= 1 && interval <= longestInterval;
}

SimulatedDevice::Settings commonSettings(const QCommandLineParser &parser)
{
    SimulatedDevice::Settings settings;
    if (parser.isSet(QStringLiteral("once")))
        settings.repeat = SimulatedDevice::Repeat::Once;
    if (parser.isSet(QStringLiteral("unthrottled")))
        settings.rate = SimulatedDevice::Rate::Unthrottled;
    return settings;
}

bool readCapture(const QCommandLineParser &parser, Options *options, QString *error)
{
    if (!parser.isSet(QStringLiteral("replay")))
        return true;
    const std::optional<Traffic> traffic =
        Traffic::fromPcap(parser.value(QStringLiteral("replay")), error);
    if (!traffic)
        return false;
    for (DeviceOptions &device : options->devices)
        device.settings.traffic = *traffic;
    return true;
}

bool hasNode(const QVector<DeviceOptions> &devices, const QString &node)
{
    return std::any_of(devices.begin(), devices.end(),
                       [&node](const DeviceOptions &device) { return device.node == node; });
}

QString addDevices(const QStringList &values, const SimulatedDevice::Settings &settings,
                   Options *options)
{
    DeviceOptionsParser parser(settings);
    for (const QString &value : values) {
        QString error;
        const std::optional<DeviceOptions> device = parser.parse(value, &error);
        if (!device)
            return error;
        if (hasNode(options->devices, device->node))
            return QStringLiteral("two devices on node %1; a vostrel is on ttyAMA0 or ttyS0")
                .arg(device->node);
        options->devices.append(*device);
    }
    return QString();
}

bool makePortFolder(const Options &options, QString *error)
{
    if (options.ports.isEmpty() || QDir().mkpath(options.ports))
        return true;
    *error = QStringLiteral("cannot make the folder '%1'").arg(options.ports);
    return false;
}

QString readArguments(const QCommandLineParser &parser, Options *options)
{
    options->command = parser.positionalArguments();
    if (options->command.isEmpty())
        return QStringLiteral("no command to start; see --help");

    QStringList devices = parser.values(QStringLiteral("device"));
    if (devices.isEmpty())
        devices.append(QStringLiteral("mirzel"));
    SimulatedDevice::Settings settings = commonSettings(parser);
    if (!readInterval(parser, &settings))
        return QStringLiteral("--interval takes 1 to %1 milliseconds, not '%2'")
            .arg(longestInterval)
            .arg(parser.value(QStringLiteral("interval")));
    QString error = addDevices(devices, settings, options);
    if (!error.isEmpty())
        return error;

    options->ports = parser.value(QStringLiteral("ports"));
    if (parser.isSet(QStringLiteral("ports")) && options->ports.isEmpty())
        return QStringLiteral("--ports needs a folder");
    options->serial0 = parser.value(QStringLiteral("serial0"));
    if (parser.isSet(QStringLiteral("serial0")) && !hasNode(options->devices, options->serial0))
        return QStringLiteral("no device on node '%1' for --serial0").arg(options->serial0);
    return QString();
}

} // namespace

std::optional<Options> parseOptions(const QStringList &arguments, Failure *failure)
{
    QCommandLineParser parser;
    declareOptions(&parser);
    failure->exitCode = usageError;
    if (!parser.parse(arguments)) {
        failure->message = parser.errorText() + QStringLiteral(" See --help.");
        return std::nullopt;
    }
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp();
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();

    Options options;
    failure->message = readArguments(parser, &options);
    if (!failure->message.isEmpty())
        return std::nullopt;

    failure->exitCode = 1;
    if (!readCapture(parser, &options, &failure->message)
        || !makePortFolder(options, &failure->message))
        return std::nullopt;
    return options;
}
