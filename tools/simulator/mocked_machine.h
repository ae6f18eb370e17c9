#pragma once

#include "machine.h"

#include <memory>

namespace Simulator {

/**
 * A machine without real serial ports, whose /dev and /sys hold only what is
 * plugged in here. One at a time in a process; child processes inherit it. Needs
 * umockdev's preload. Removed with the object.
 */
class MockedMachine : public Machine
{
public:
    /** Whether the process runs under the preload; if not, error tells how to. */
    static bool isPossible(QString *error);

    /** A machine with no port but a console, which Qt does not list. */
    MockedMachine();
    ~MockedMachine() override;
    Q_DISABLE_COPY(MockedMachine)

    QString plugIn(Kind kind, const QString &node, const QString &portPath) override;
    void unplug(const QString &node) override;
    bool isPluggedIn(const QString &node) const override;

    void linkSerial0(const QString &node) override;
    void unlinkSerial0();

private:
    class Testbed;
    std::unique_ptr<Testbed> m_testbed;
};

} // namespace Simulator
