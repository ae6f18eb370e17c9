#pragma once

#include <QList>
#include <QMainWindow>
#include <QProcess>
#include <QString>

#include <vector>

class Connection;
class PaintPace;
class QTimer;
class Ui_MainWindow;

namespace Tarvos {
class DeviceEnumerator;
struct DeviceEntry;
} // namespace Tarvos

/**
 * The application's only window.
 *
 * Owns the workflow: lists the devices, connects to the one the user picks,
 * starts and stops the capture, and moves between the pages of the form.
 */
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /** Builds the window, scans the ports once and shows the start page. */
    explicit MainWindow(QWidget *parent = nullptr);
    /**
     * Hides the window and lets an installation under way come to its end, for up to two
     * minutes. Leaves the connection alive: an open port is closed by the process's end.
     */
    ~MainWindow() override;

    /** Number of devices found by the last scan. */
    static qint32 numberOfDevices;
    /** Ports found by the last scan, in scan order; tryConnectDevices() takes from the back. */
    static std::vector<QString> availableComPorts;

    // The order of the slots is that of the meta-object and stays as it is.
private slots:
    void getComPorts();
    void devConnectClicked();
    void devDisconnectClicked();
    void updateGui(uint count);
    void updateChannelComboBox(const QString &channel);
    void startStopSniffing(int onOff);
    void startSniffing();
    void stopSniffing();
    void changeChannel(const QString &channel);
    void firmwareUpdateFinished(int exitCode, QProcess::ExitStatus exitStatus);
    void PrintStdOutput();
    void wiresharkHelp();
    void showFirmwareUpdatePage();
    void showFirmwareUpdatePageTooManyDevices();
    void showConnectedPage();
    void showLastPage();
    void setComPort();
    void showDependencies();
    void showFwUpdateHelp();
    void showAboutPage();
    void openManual();
    void tryConnectDevices();
    void startFwUpdate();
    void enableContinueBtn();

private:
    void describeForm();
    void createFileMenu();
    void createHelpMenu();
    void connectForm();
    void createConnection();
    void guessLocalAddress();
    void insertManualLink();
    void enterConnectedPage();
    void showAddressAcceptance(bool acceptable);
    void finishInstallation();

    /** Interval at which the page for several devices counts them. */
    static constexpr int deviceCountPollMs = 1000;

    Connection *connection = nullptr; ///< Has no parent and lives until the process ends.
    Ui_MainWindow *ui;
    QTimer *comPortTimer = nullptr;
    QTimer *continueBtnTimer = nullptr;
    Tarvos::DeviceEnumerator *deviceEnumerator = nullptr;
    qint32 deviceIndex = 0; ///< Reset with each new list; nothing reads it.
    std::vector<Tarvos::DeviceEntry> listedDevices;
    bool returnToStartPage = true;
    QProcess *flasherProcess = nullptr;
    QString selectedDeviceText;
    QString lastListedPort; ///< Of the last scan that changed the list; nothing reads it.
    QString comPort;
    QString localIpAddress;
    QList<QString> interfaceNames; ///< In visiting order; nothing reads them.
    PaintPace *countPace = nullptr;
};
