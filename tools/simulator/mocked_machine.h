#pragma once

#include <QString>

#include <memory>

namespace Simulator {

/**
 * A machine without real serial ports, whose /dev and /sys hold only what is
 * plugged in here. One at a time in a process; child processes inherit it. Needs
 * umockdev's preload. Removed with the object; move-only.
 */
class MockedMachine
{
public:
    /** What the machine tells about a port; any kind may sit on any node. */
    enum class Kind {
        Mirzel,
        MirzelWithoutIdentifiers,
        Vostrel,
        ForeignFtdi,
        ForeignAcm,
        ForeignUsbSerial,
        OtherProductOfTheMaker
    };

    /** Whether the process runs under the preload; if not, error tells how to. */
    static bool isPossible(QString *error);

    /** A machine with no port but a console, which Qt does not list. */
    MockedMachine();
    ~MockedMachine();
    MockedMachine(MockedMachine &&other) noexcept;
    MockedMachine &operator=(MockedMachine &&other) noexcept;
    Q_DISABLE_COPY(MockedMachine)

    /**
     * Adds a device whose node ("ttyUSB0") leads to the port of a pseudo-terminal;
     * returns the node's path ("/dev/ttyUSB0"). A node in use is unplugged first.
     */
    QString plugIn(Kind kind, const QString &node, const QString &portPath);

    /** Takes the device and its node away; an unknown node is ignored. */
    void unplug(const QString &node);

    bool isPluggedIn(const QString &node) const;

    /** Makes /dev/serial0 a relative link to the node, in place of any earlier one. */
    void linkSerial0(const QString &node);
    void unlinkSerial0();

private:
    class Testbed;
    std::unique_ptr<Testbed> m_testbed;
};

} // namespace Simulator
