#include "mocked_machine.h"
#include "scenes.h"
#include "simulated_device.h"
#include "window_driver.h"

#include <QComboBox>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

namespace {

void saveHelpPage(WindowDriver *driver, const char *entry, const char *name)
{
    driver->openMenu("Help");
    driver->choose(entry);
    driver->save(name);
}

void saveDeviceList(WindowDriver *driver)
{
    driver->click("refreshComButton");
    driver->click("usbComboBox");
    driver->saveWithPopup("start-two-devices");
    driver->find<QComboBox>("usbComboBox")->hidePopup();
}

} // namespace

void savePages(const QDir &pictures)
{
    MockedMachine machine;
    WindowDriver driver(pictures);
    driver.save("start-no-device");

    SimulatedDevice dongle(SimulatedDevice::Settings {});
    machine.plugIn(MockedMachine::Kind::Mirzel, QStringLiteral("ttyUSB0"), dongle.portPath());
    driver.click("refreshComButton");
    driver.save("start");

    SimulatedDevice board(SimulatedDevice::Settings {});
    machine.plugIn(MockedMachine::Kind::Vostrel, QStringLiteral("ttyAMA0"), board.portPath());
    saveDeviceList(&driver);

    driver.openMenu("Help");
    driver.saveWithPopup("help-menu");
    driver.choose("Dependencies");
    driver.save("dependencies");
    saveHelpPage(&driver, "Firmware update", "firmware-help");
    saveHelpPage(&driver, "About", "about");
}
