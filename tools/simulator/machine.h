#pragma once

#include <QString>

namespace Simulator {

/** Where the ports of simulated devices appear under the names of their nodes. */
class Machine
{
public:
    /** What a machine may tell about a port; any kind may sit on any node. */
    enum class Kind {
        Mirzel,
        MirzelWithoutIdentifiers,
        Vostrel,
        ForeignFtdi,
        ForeignAcm,
        ForeignUsbSerial,
        OtherProductOfTheMaker,
        FtdiWithTheBridgesName,
        ForeignWithTheBridgesName
    };

    virtual ~Machine() = default;

    /**
     * Adds a device whose node ("ttyUSB0") leads to the port of a pseudo-terminal;
     * returns the node's path. A node in use is unplugged first.
     */
    virtual QString plugIn(Kind kind, const QString &node, const QString &portPath) = 0;

    /** Takes the device and its node away; an unknown node is ignored. */
    virtual void unplug(const QString &node) = 0;

    virtual bool isPluggedIn(const QString &node) const = 0;

    /** Makes serial0 a relative link to the node, in place of any earlier one. */
    virtual void linkSerial0(const QString &node) = 0;

protected:
    Machine() = default;
    Q_DISABLE_COPY(Machine)
};

} // namespace Simulator
