#include "mocked_machine.h"
#include "scenes.h"
#include "simulated_device.h"
#include "window_driver.h"

#include <QComboBox>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

namespace {

// Below this the start page is empty.
constexpr int startPageHeight = 420;

void saveDeviceList(WindowDriver *driver)
{
    driver->click("refreshComButton");
    driver->click("usbComboBox");
    driver->saveWithPopup("start-two-devices", startPageHeight);
    driver->find<QComboBox>("usbComboBox")->hidePopup();
}

} // namespace

void savePages(const QDir &pictures)
{
    MockedMachine machine;
    WindowDriver driver(pictures);
    driver.save("start-no-device", startPageHeight);

    SimulatedDevice first(SimulatedDevice::Settings {});
    machine.plugIn(MockedMachine::Kind::Mirzel, QStringLiteral("ttyUSB0"), first.portPath());
    driver.click("refreshComButton");
    driver.save("start", startPageHeight);

    SimulatedDevice second(SimulatedDevice::Settings {});
    machine.plugIn(MockedMachine::Kind::Mirzel, QStringLiteral("ttyUSB1"), second.portPath());
    saveDeviceList(&driver);

    driver.openMenu("Help");
    driver.saveWithPopup("help-menu", 200);
    driver.choose("About");
}
