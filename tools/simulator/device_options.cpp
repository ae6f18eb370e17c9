#include "device_options.h"

#include <QHash>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;
using Kind = MockedMachine::Kind;

namespace {

std::optional<Kind> kindNamed(const QString &name)
{
    static const QHash<QString, Kind> kinds = {
        {QStringLiteral("mirzel"), Kind::Mirzel},
        {QStringLiteral("mirzel-without-ids"), Kind::MirzelWithoutIdentifiers},
        {QStringLiteral("vostrel"), Kind::Vostrel},
        {QStringLiteral("foreign-ftdi"), Kind::ForeignFtdi},
        {QStringLiteral("foreign-acm"), Kind::ForeignAcm},
    };
    const auto found = kinds.constFind(name);
    return found != kinds.constEnd() ? std::optional<Kind>(*found) : std::nullopt;
}

bool applyChannel(const QString &text, SimulatedDevice::Settings *settings)
{
    bool isNumber = false;
    const int channel = text.toInt(&isNumber);
    if (!isNumber || channel < 11 || channel > 26)
        return false;
    settings->channel = channel;
    return true;
}

bool apply(const QString &option, DeviceOptions *device)
{
    const QString channelPrefix = QStringLiteral("channel=");
    if (option == QLatin1String("silent"))
        device->settings.firmware = SimulatedDevice::Firmware::Silent;
    else if (option == QLatin1String("failing"))
        device->settings.firmware = SimulatedDevice::Firmware::Failing;
    else if (option.startsWith(channelPrefix))
        return applyChannel(option.mid(channelPrefix.size()), &device->settings);
    else if (device->kind == Kind::Vostrel
             && (option == QLatin1String("ttyAMA0") || option == QLatin1String("ttyS0")))
        device->node = option;
    else
        return false;
    return true;
}

} // namespace

DeviceOptionsParser::DeviceOptionsParser(SimulatedDevice::Settings settings)
    : m_settings(std::move(settings))
{ }

std::optional<DeviceOptions> DeviceOptionsParser::parse(const QString &value, QString *error)
{
    const QString name = value.section(QLatin1Char(':'), 0, 0);
    const std::optional<Kind> kind = kindNamed(name);
    if (!kind) {
        *error = QStringLiteral("unknown kind of device '%1'").arg(name);
        return std::nullopt;
    }
    DeviceOptions device {*kind, nextNode(*kind), m_settings};
    const QStringList options =
        value.section(QLatin1Char(':'), 1).split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &option : options) {
        if (!apply(option, &device)) {
            *error = QStringLiteral("unknown option '%1' of device '%2'").arg(option, name);
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
