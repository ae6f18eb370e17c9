#include "device_options.h"

#include <QVector>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;
using Kind = MockedMachine::Kind;

namespace {

struct NamedKind
{
    QString name;
    Kind kind;
};

const QVector<NamedKind> &namedKinds()
{
    static const QVector<NamedKind> kinds = {
        {QStringLiteral("mirzel"), Kind::Mirzel},
        {QStringLiteral("mirzel-without-ids"), Kind::MirzelWithoutIdentifiers},
        {QStringLiteral("vostrel"), Kind::Vostrel},
        {QStringLiteral("foreign-ftdi"), Kind::ForeignFtdi},
        {QStringLiteral("foreign-acm"), Kind::ForeignAcm},
    };
    return kinds;
}

std::optional<Kind> kindNamed(const QString &name, QString *error)
{
    QStringList names;
    for (const NamedKind &known : namedKinds()) {
        if (known.name == name)
            return known.kind;
        names.append(known.name);
    }
    *error = QStringLiteral("unknown kind of device '%1'; there are %2")
                 .arg(name, names.join(QStringLiteral(", ")));
    return std::nullopt;
}

QString applyChannel(const QString &text, SimulatedDevice::Settings *settings)
{
    bool isNumber = false;
    const int channel = text.toInt(&isNumber);
    if (!isNumber || channel < SimulatedDevice::lowestChannel
        || channel > SimulatedDevice::highestChannel)
        return QStringLiteral("a channel is %1 to %2, not '%3'")
            .arg(SimulatedDevice::lowestChannel)
            .arg(SimulatedDevice::highestChannel)
            .arg(text);
    settings->channel = channel;
    return QString();
}

/** Returns an empty text, or what is wrong with the option. */
QString apply(const QString &option, DeviceOptions *device)
{
    const QString channelPrefix = QStringLiteral("channel=");
    const bool isVostrel = device->kind == Kind::Vostrel;
    if (option == QLatin1String("silent"))
        device->settings.firmware = SimulatedDevice::Firmware::Silent;
    else if (option == QLatin1String("failing"))
        device->settings.firmware = SimulatedDevice::Firmware::Failing;
    else if (option.startsWith(channelPrefix))
        return applyChannel(option.mid(channelPrefix.size()), &device->settings);
    else if (isVostrel && (option == QLatin1String("ttyAMA0") || option == QLatin1String("ttyS0")))
        device->node = option;
    else
        return QStringLiteral("unknown option '%1'; there are silent, failing, channel=N%2")
            .arg(option, isVostrel ? QStringLiteral(", ttyAMA0, ttyS0") : QString());
    return QString();
}

} // namespace

DeviceOptionsParser::DeviceOptionsParser(SimulatedDevice::Settings settings)
    : m_settings(std::move(settings))
{ }

std::optional<DeviceOptions> DeviceOptionsParser::parse(const QString &value, QString *error)
{
    const QString name = value.section(QLatin1Char(':'), 0, 0);
    const std::optional<Kind> kind = kindNamed(name, error);
    if (!kind)
        return std::nullopt;
    DeviceOptions device {*kind, nextNode(*kind), m_settings};
    const QStringList options =
        value.section(QLatin1Char(':'), 1).split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &option : options) {
        const QString problem = apply(option, &device);
        if (!problem.isEmpty()) {
            *error = QStringLiteral("device '%1': %2").arg(name, problem);
            return std::nullopt;
        }
    }
    return device;
}

QString DeviceOptionsParser::nextNode(Kind kind)
{
    switch (kind) {
    case Kind::Vostrel:
        return QStringLiteral("ttyAMA0");
    case Kind::ForeignAcm:
        return QStringLiteral("ttyACM%1").arg(m_acmCount++);
    default:
        return QStringLiteral("ttyUSB%1").arg(m_usbCount++);
    }
}
