#include "mocked_machine.h"
#include "scenes.h"
#include "simulated_device.h"
#include "window_driver.h"

#include <QComboBox>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;
using Simulator::Traffic;

namespace {

constexpr int repetitions = 9;

/** A device on channel 15 that sends a fixed number of frames and falls silent. */
SimulatedDevice::Settings settings()
{
    QVector<QByteArray> frames;
    for (int i = 0; i < repetitions; ++i)
        frames += Traffic::builtIn().frames();

    SimulatedDevice::Settings result;
    result.channel = 15;
    result.rate = SimulatedDevice::Rate::Unthrottled;
    result.repeat = SimulatedDevice::Repeat::Once;
    result.traffic = Traffic::fromFrames(frames);
    return result;
}

void connectToDevice(WindowDriver *driver, const QString &port, const SimulatedDevice &device)
{
    const auto *channels = driver->find<QComboBox>("channelSelect");
    const auto hasReported = [&] {
        return channels->currentText().toInt() == device.channel() && !device.isSniffing();
    };
    driver->click("devConnectButton");
    driver->waitFor("an answer", [&] { return hasReported() || driver->shows("pageNoFirmware"); });
    // On a busy machine the program may have given up before the answer.
    if (driver->shows("pageNoFirmware")) {
        driver->click("backBtn");
        connectToDevice(driver, port, device);
        return;
    }
    driver->waitForText("label_com_port", port);
}

void saveWiresharkHelp(WindowDriver *driver)
{
    driver->click("startWsButton");
    driver->waitForPage("pageWiresharkHelp");
    driver->save("wireshark-help");
    driver->click("backBtn_2");
}

} // namespace

void saveCapture(const QDir &pictures)
{
    MockedMachine machine;
    SimulatedDevice device(settings());
    const QString port =
        machine.plugIn(MockedMachine::Kind::Mirzel, QStringLiteral("ttyUSB0"), device.portPath());
    WindowDriver driver(pictures);
    connectToDevice(&driver, port, device);
    driver.save("connected");

    driver.click("OnBtn");
    driver.waitForText("label_packetCount",
                       QString::number(repetitions * Traffic::builtIn().frames().size()));
    driver.save("capturing");
    driver.click("OffBtn");

    saveWiresharkHelp(&driver);

    driver.type("remoteIpInput", QStringLiteral("192.168.1"));
    driver.click("OnBtn");
    driver.save("address-refused", 300);
    driver.click("devDisconnectButton");
}
