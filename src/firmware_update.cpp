// The firmware pages: the main window's slots that install the sniffer firmware.

#include "mainwindow.h"

#include "device_enumerator.h"
#include "flashing_process.h"
#include "ui_mainwindow.h"

#include <QDebug>
#include <QDir>
#include <QGuiApplication>
#include <QTimer>

namespace {

const QLatin1String firmwareDirectory("/usr/share/fennix/fw/");
const QLatin1String flashingTool("/usr/bin/Ostraflash_sniffer");

/** Returns the names of the firmware files, newest first. */
QStringList firmwareFiles(const QDir &directory)
{
    const QStringList patterns = {QStringLiteral("*.bin"), QStringLiteral("*.GCF")};
    return directory.entryList(patterns, QDir::Files, QDir::Time);
}

/** Returns whether the flashing tool is at work; without a process it is not. */
bool isRunning(const QProcess *process)
{
    return process && process->state() != QProcess::NotRunning;
}

} // namespace

void MainWindow::firmwareUpdateFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    // The child's end arrives twice after a start that found no known device.
    if (flasherProcess)
        flasherProcess->deleteLater();
    flasherProcess = nullptr;

    if (exitCode != 0 || exitStatus != QProcess::NormalExit) {
        ui->label_firmwareStatus->setText(tr("Firmware install error."));
        ui->installFwBtn->setEnabled(true);
    } else {
        ui->label_firmwareStatus->setText(tr("Firmware install done."));
    }
    ui->backBtn->setEnabled(true);
}

void MainWindow::PrintStdOutput()
{
    if (flasherProcess)
        qDebug() << flasherProcess->readAllStandardOutput();
}

void MainWindow::showFirmwareUpdatePage()
{
    ui->stackedWidget->setCurrentWidget(ui->pageNoFirmware);
    ui->installFwBtn->setEnabled(true);
    ui->backBtn->setEnabled(true);

    const QDir directory(firmwareDirectory);
    if (firmwareFiles(directory).isEmpty()) {
        ui->label_firmwareStatus->setText(tr("No firmware found in %1").arg(directory.path()));
        ui->installFwBtn->setEnabled(false);
    } else {
        ui->label_firmwareStatus->setText(
            tr("Click the button to install sniffer firmware to the %1.").arg(selectedDeviceText));
    }
    returnToStartPage = true;
}

void MainWindow::showFirmwareUpdatePageTooManyDevices()
{
    ui->stackedWidget->setCurrentWidget(ui->pageNoFirmwareTooManyDev);
    ui->backBtn_6->setEnabled(true);
    ui->continueBtn->setEnabled(false);
    ui->label_firmwareInfo->setText(tr("To install firmware make sure that only one USB dongle is "
                                       "connected to your machine."));
    returnToStartPage = true;
    continueBtnTimer->start(deviceCountPollMs);
}

void MainWindow::startFwUpdate()
{
    if (!flasherProcess)
        flasherProcess = new FlashingProcess(this);
    // Nobody reads it, and QProcess would keep all of it.
    flasherProcess->setStandardErrorFile(QProcess::nullDevice());
    // A process that the last attempt did not start is connected again.
    connect(flasherProcess, SIGNAL(finished(int, QProcess::ExitStatus)), this,
            SLOT(firmwareUpdateFinished(int, QProcess::ExitStatus)));
    connect(flasherProcess, SIGNAL(readyReadStandardOutput()), this, SLOT(PrintStdOutput()));

    const QString file = firmwareFiles(QDir(firmwareDirectory)).value(0);
    QStringList arguments = {flashingTool, QStringLiteral("-f"), firmwareDirectory + file};
    // The flashing tool needs the device named only when it hangs on USB.
    if (selectedDeviceText.contains(QLatin1String(Tarvos::dongleName)))
        arguments << QStringLiteral("-d") << QStringLiteral("0");
    else if (!selectedDeviceText.contains(QLatin1String(Tarvos::boardName)))
        return;

    flasherProcess->start(QStringLiteral("sudo"), arguments, QIODevice::ReadWrite);
    ui->installFwBtn->setEnabled(false);
    ui->backBtn->setEnabled(false);
    ui->label_firmwareStatus->setText(
        tr("Installing firmware %1 (this should take < 1 min)").arg(file));
}

/** Keeps the program alive for an installation under way; the window disappears at once. */
void MainWindow::finishInstallation()
{
    if (!isRunning(flasherProcess))
        return;
    hide();
    // The event loop has ended, and nothing else would tell a Wayland desktop.
    QGuiApplication::sync();
    // The tool's end may have been among the events: firmwareUpdateFinished() has run then.
    if (isRunning(flasherProcess))
        FlashingProcess::letFinish(*flasherProcess);
}
