#include "firmware_stage.h"
#include "mocked_machine.h"
#include "scenes.h"
#include "simulated_device.h"
#include "window_driver.h"

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

namespace {

// Below this the firmware pages are empty.
constexpr int firmwarePageHeight = 320;

SimulatedDevice::Settings withoutFirmware()
{
    SimulatedDevice::Settings settings;
    settings.firmware = SimulatedDevice::Firmware::Silent;
    return settings;
}

/** From two dongles to one, and on to the page that offers the installation. */
void saveSeveralDevices(WindowDriver *driver, MockedMachine *machine)
{
    driver->click("devConnectButton");
    driver->waitForPage("pageNoFirmwareTooManyDev");
    driver->save("several-devices", firmwarePageHeight);

    machine->unplug(QStringLiteral("ttyUSB1"));
    const auto *button = driver->find<QWidget>("continueBtn");
    driver->waitFor("the Continue button", [button] { return button->isEnabled(); });
    driver->click("continueBtn");
    driver->waitForPage("pageNoFirmware");
}

void saveInstallation(WindowDriver *driver, const FirmwareStage &stage, const QString &firmware)
{
    driver->save("firmware-ready", firmwarePageHeight);
    driver->click("installFwBtn");
    driver->waitForText(
        "label_firmwareStatus",
        QStringLiteral("Installing firmware %1 (this should take < 1 min)").arg(firmware));
    driver->save("firmware-installing", firmwarePageHeight);
    stage.finishFlashing();
    driver->waitForText("label_firmwareStatus", QStringLiteral("Firmware install done."));
    driver->save("firmware-done", firmwarePageHeight);
    driver->click("backBtn");
}

void saveMissingFirmware(WindowDriver *driver)
{
    driver->click("devConnectButton");
    driver->waitForPage("pageNoFirmware");
    driver->save("firmware-none", firmwarePageHeight);
    driver->click("backBtn");
}

} // namespace

void saveFirmware(const QDir &pictures, const FirmwareStage &stage)
{
    MockedMachine machine;
    SimulatedDevice first(withoutFirmware());
    SimulatedDevice second(withoutFirmware());
    machine.plugIn(MockedMachine::Kind::Mirzel, QStringLiteral("ttyUSB0"), first.portPath());
    machine.plugIn(MockedMachine::Kind::Mirzel, QStringLiteral("ttyUSB1"), second.portPath());
    const QString firmware = stage.placeFirmware();

    WindowDriver driver(pictures);
    saveSeveralDevices(&driver, &machine);
    saveInstallation(&driver, stage, firmware);

    stage.removeFirmware();
    saveMissingFirmware(&driver);
}
