#include "mainwindow.h"

#include "connection.h"
#include "debug_log.h"
#include "device_enumerator.h"
#include "paint_pace.h"
#include "ui_mainwindow.h"

#include <QAction>
#include <QApplication>
#include <QColor>
#include <QDesktopServices>
#include <QHostAddress>
#include <QIcon>
#include <QMenuBar>
#include <QNetworkInterface>
#include <QPalette>
#include <QRegExp>
#include <QTextCursor>
#include <QTimer>
#include <QUrl>

#include <algorithm>

qint32 MainWindow::numberOfDevices = 0;
std::vector<QString> MainWindow::availableComPorts;

using Tarvos::DeviceEntry;

namespace {

constexpr int comPortDelayMs = 400;

/** Paragraphs of the Linux text above the link to the manual, a line each. */
constexpr int linesAboveManualLink = 19;

const QLatin1String manualUrl("file:///usr/share/fennix/manual/FENNIX-BHB-en.pdf");

const QColor unacceptableColor(255, 180, 180);

bool isSameDevice(const DeviceEntry &a, const DeviceEntry &b)
{
    return a.path == b.path && a.friendlyName == b.friendlyName && a.vendorId == b.vendorId
        && a.productId == b.productId;
}

/** Returns the name to open @p device by: from "COM" on, where its path has it. */
QString portName(const DeviceEntry &device)
{
    return device.path.mid(std::max(0, device.path.indexOf(QLatin1String("COM"))));
}

/** Returns whether @p address is an IPv4 address of class A, B or C, loopback excluded. */
bool isUnicastAddress(const QHostAddress &address)
{
    const quint32 value = address.toIPv4Address();
    return address.protocol() == QAbstractSocket::IPv4Protocol && value >> 24 != 127
        && value < 0xE0000000U;
}

/** Accepts four groups of digits, whatever their values, or no text at all. */
bool isAcceptableAddress(const QString &text)
{
    const QRegExp pattern(QStringLiteral("[0-9]{1,3}\\.[0-9]{1,3}\\.[0-9]{1,3}\\.[0-9]{1,3}"));
    return text.isEmpty() || pattern.exactMatch(text);
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , ui(new Ui_MainWindow)
{
    ui->setupUi(this);
    describeForm();
    ui->stackedWidget->setCurrentWidget(ui->pageNotConnected);
    setWindowTitle(tr("FENNIX"));
    deviceEnumerator = new Tarvos::DeviceEnumerator(this);
    setCentralWidget(ui->stackedWidget);
    setWindowIcon(QIcon(QStringLiteral(":/vk_logo_48px.png")));
    comPortTimer = new QTimer(this);
    comPortTimer->setSingleShot(true);
    createFileMenu();
    createHelpMenu();
    connectForm();
    // The count changes with every frame.
    countPace = new PaintPace(ui->label_packetCount);
    createConnection();
    continueBtnTimer = new QTimer(this);
    continueBtnTimer->setSingleShot(true);
    connect(continueBtnTimer, SIGNAL(timeout()), this, SLOT(enableContinueBtn()));
    getComPorts();
    guessLocalAddress();
    insertManualLink();
}

MainWindow::~MainWindow()
{
    finishInstallation();
    delete ui;
}

/** Tells assistive technologies what has no text of its own. */
void MainWindow::describeForm()
{
    ui->refreshComButton->setAccessibleName(tr("Refresh the list of devices"));
    ui->label_packetCount->setAccessibleDescription(tr("Received packets"));
}

void MainWindow::createFileMenu()
{
    QMenu *menu = menuBar()->addMenu(tr("&File"));
    QAction *quit = menu->addAction(tr("Quit"));
    quit->setShortcuts(QKeySequence::Quit);
    connect(quit, SIGNAL(triggered()), qApp, SLOT(quit()));
}

void MainWindow::createHelpMenu()
{
    QMenu *menu = menuBar()->addMenu(tr("Help"));
    connect(menu->addAction(tr("Dependencies")), SIGNAL(triggered()), this,
            SLOT(showDependencies()));
    connect(menu->addAction(tr("Firmware update")), SIGNAL(triggered()), this,
            SLOT(showFwUpdateHelp()));
    connect(menu->addAction(tr("Manual")), SIGNAL(triggered()), this, SLOT(openManual()));
    connect(menu->addAction(tr("About")), SIGNAL(triggered()), this, SLOT(showAboutPage()));
}

void MainWindow::connectForm()
{
    connect(ui->refreshComButton, SIGNAL(clicked()), this, SLOT(getComPorts()));
    connect(ui->devConnectButton, SIGNAL(clicked()), this, SLOT(devConnectClicked()));
    connect(ui->devDisconnectButton, SIGNAL(clicked()), this, SLOT(devDisconnectClicked()));
    connect(ui->OnBtn, SIGNAL(clicked()), this, SLOT(startSniffing()));
    connect(ui->OffBtn, SIGNAL(clicked()), this, SLOT(stopSniffing()));
    connect(ui->startWsButton, SIGNAL(clicked()), this, SLOT(wiresharkHelp()));
    connect(ui->channelSelect, SIGNAL(currentIndexChanged(const QString)), this,
            SLOT(changeChannel(const QString)));
    connect(ui->installFwBtn, SIGNAL(clicked()), this, SLOT(startFwUpdate()));
    connect(ui->continueBtn, SIGNAL(clicked()), this, SLOT(showFirmwareUpdatePage()));
    connect(ui->backBtn, SIGNAL(clicked()), this, SLOT(devDisconnectClicked()));
    connect(ui->backBtn_2, SIGNAL(clicked()), this, SLOT(showConnectedPage()));
    connect(ui->backBtn_3, SIGNAL(clicked()), this, SLOT(showLastPage()));
    connect(ui->backBtn_4, SIGNAL(clicked()), this, SLOT(showLastPage()));
    connect(ui->backBtn_5, SIGNAL(clicked()), this, SLOT(showLastPage()));
    connect(ui->backBtn_6, SIGNAL(clicked()), this, SLOT(devDisconnectClicked()));
    // Left to themselves, the browsers would follow the link and scroll to their top.
    ui->helpTextWin->setOpenLinks(false);
    ui->helpTextLinux->setOpenLinks(false);
    connect(ui->helpTextWin, SIGNAL(anchorClicked(QUrl)), this, SLOT(openManual()));
    connect(ui->helpTextLinux, SIGNAL(anchorClicked(QUrl)), this, SLOT(openManual()));
}

void MainWindow::createConnection()
{
    connection = new Connection;
    connect(connection, SIGNAL(disconnectGui()), this, SLOT(devDisconnectClicked()));
    connect(connection, SIGNAL(showFwUpdatePage()), this, SLOT(showFirmwareUpdatePage()));
    connect(connection, SIGNAL(showFwUpdatePageTooManyDevices()), this,
            SLOT(showFirmwareUpdatePageTooManyDevices()));
    connect(connection, SIGNAL(connectOtherDevice()), this, SLOT(tryConnectDevices()));
    connect(connection, SIGNAL(showPacketCount(uint)), this, SLOT(updateGui(uint)));
    connect(connection, SIGNAL(updateChannelGui(QString)), this,
            SLOT(updateChannelComboBox(QString)));
}

/** Proposes this machine's own address as the destination: Wireshark may run here. */
void MainWindow::guessLocalAddress()
{
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &candidate : interfaces) {
        interfaceNames.append(candidate.name());
        const QNetworkInterface::InterfaceFlags flags = candidate.flags();
        if (candidate.name() == QLatin1String("tun0") || !(flags & QNetworkInterface::IsUp)
            || !(flags & QNetworkInterface::IsRunning) || (flags & QNetworkInterface::IsLoopBack)) {
            continue;
        }

        DBG_Printf(DBG_GENERAL, "%s (%s)\n", qPrintable(candidate.name()),
                   qPrintable(candidate.humanReadableName()));
        const QList<QNetworkAddressEntry> entries = candidate.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            if (isUnicastAddress(entry.ip())) {
                localIpAddress = entry.ip().toString();
                ui->remoteIpInput->setText(localIpAddress);
            }
        }
        if (!localIpAddress.isEmpty())
            return;
    }
}

/** Points from the instructions for remote capture to the manual. */
void MainWindow::insertManualLink()
{
    QTextCursor cursor = ui->helpTextLinux->textCursor();
    cursor.movePosition(QTextCursor::Down, QTextCursor::MoveAnchor, linesAboveManualLink);
    cursor.insertHtml(
        tr("&nbsp;&nbsp;&nbsp;&nbsp;<span style=\"font-size:10pt; font-style:italic;\">"
           "(for further details consult the <a href=\"#\">fennix manual</a>)"
           "</span>"));
}

void MainWindow::getComPorts()
{
    std::vector<DeviceEntry> devices;
    if (deviceEnumerator->listSerialPorts())
        devices = deviceEnumerator->getList();

    availableComPorts.clear();
    // An unchanged list leaves the user's selection alone.
    const bool changed = !std::equal(devices.begin(), devices.end(), listedDevices.begin(),
                                     listedDevices.end(), isSameDevice);
    if (changed) {
        deviceIndex = 0;
        listedDevices.clear();
        ui->usbComboBox->clear();
    }

    int index = 0;
    for (const DeviceEntry &device : devices) {
        if (changed) {
            ui->usbComboBox->insertItem(index, QIcon(), device.friendlyName, index);
            listedDevices.push_back(device);
            lastListedPort = device.path;
        }
        availableComPorts.push_back(portName(device));
        ++index;
    }
    numberOfDevices = index;
}

void MainWindow::devConnectClicked()
{
    const int index = ui->usbComboBox->currentIndex();
    if (index == -1) {
        DBG_Printf(DBG_GENERAL, "%s no valid combobox idx: %d\n", Q_FUNC_INFO, index);
        return;
    }

    bool isNumber = false;
    const int id = ui->usbComboBox->itemData(index).toInt(&isNumber);
    selectedDeviceText = ui->usbComboBox->itemText(index);
    if (!isNumber || id < 0 || id >= static_cast<int>(listedDevices.size())) {
        DBG_Printf(DBG_GENERAL, "%s no valid com port id: %d\n", Q_FUNC_INFO, id);
        return;
    }

    comPort = portName(listedDevices[static_cast<size_t>(id)]);
    if (!connection->openSerialPort(comPort))
        return;
    enterConnectedPage();
    ui->OffBtn->setEnabled(false);
}

/** Shows the capture page of the device that has just been opened. */
void MainWindow::enterConnectedPage()
{
    ui->stackedWidget->setCurrentWidget(ui->pageConnected);
    ui->label_packetCount->setText(QStringLiteral("0"));
    // Connected again each time: setComPort() runs once for each connect so far.
    connect(comPortTimer, SIGNAL(timeout()), this, SLOT(setComPort()));
    comPortTimer->start(comPortDelayMs);
    returnToStartPage = false;
}

void MainWindow::devDisconnectClicked()
{
    // The idle command has to be written while the port is still open.
    stopSniffing();
    connection->closeSerialPort();
    ui->label_com_port->setText(tr("Connecting..."));
    ui->stackedWidget->setCurrentWidget(ui->pageNotConnected);
    returnToStartPage = true;
    getComPorts();
}

void MainWindow::setComPort()
{
    ui->label_com_port->setText(comPort);
}

void MainWindow::tryConnectDevices()
{
    comPortTimer->stop();
    if (availableComPorts.empty()) {
        ui->labelConnectionError->setText(tr("Error: Connection not possible"));
        return;
    }

    comPort = availableComPorts.back();
    availableComPorts.pop_back();
    if (connection->openSerialPort(comPort))
        enterConnectedPage();
}

void MainWindow::enableContinueBtn()
{
    getComPorts();
    if (numberOfDevices == 1)
        ui->continueBtn->setEnabled(true);
    else
        continueBtnTimer->start(deviceCountPollMs);
}

void MainWindow::updateGui(uint count)
{
    countPace->setText(QString::number(count));
}

void MainWindow::updateChannelComboBox(const QString &channel)
{
    ui->channelSelect->setCurrentText(channel);
}

void MainWindow::startStopSniffing(int onOff)
{
    connection->sendParameter(onOff == 1 ? Connection::ParamSniff : Connection::ParamIdle);
}

void MainWindow::startSniffing()
{
    ui->channelSelect->setEnabled(false);
    ui->OnBtn->setEnabled(false);
    ui->OffBtn->setEnabled(true);

    const QString address = ui->remoteIpInput->text();
    Connection::host = QHostAddress(address.isEmpty() ? QStringLiteral("127.0.0.1") : address);
    showAddressAcceptance(isAcceptableAddress(address));
    connection->sendParameter(Connection::ParamSniff);
}

void MainWindow::stopSniffing()
{
    ui->channelSelect->setEnabled(true);
    ui->OnBtn->setEnabled(true);
    ui->OffBtn->setEnabled(false);

    // A refused address stays marked until the next start has judged it.
    if (isAcceptableAddress(ui->remoteIpInput->text()))
        showAddressAcceptance(true);
    startStopSniffing(0);
}

void MainWindow::changeChannel(const QString &channel)
{
    connection->sendU8Parameter(Connection::U8ParamChannel, channel.toInt());
    // A change of channel always leaves the device idle.
    connection->sendParameter(Connection::ParamSniff);
    connection->sendParameter(Connection::ParamIdle);
}

/** Colours the address field: white, or light red for a text that is no address. */
void MainWindow::showAddressAcceptance(bool acceptable)
{
    QPalette palette = ui->remoteIpInput->palette();
    palette.setColor(QPalette::Base, acceptable ? QColor(Qt::white) : unacceptableColor);
    ui->remoteIpInput->setPalette(palette);
}

void MainWindow::wiresharkHelp()
{
    ui->stackedWidget->setCurrentWidget(ui->pageWiresharkHelp);
    ui->helpTextWin->hide();
    ui->helpTextLinux->show();
}

void MainWindow::showConnectedPage()
{
    ui->stackedWidget->setCurrentWidget(ui->pageConnected);
    returnToStartPage = false;
}

void MainWindow::showLastPage()
{
    ui->stackedWidget->setCurrentWidget(returnToStartPage ? ui->pageNotConnected
                                                          : ui->pageConnected);
}

void MainWindow::showDependencies()
{
    ui->stackedWidget->setCurrentWidget(ui->pageDependencies);
}

void MainWindow::showFwUpdateHelp()
{
    ui->stackedWidget->setCurrentWidget(ui->pageFwUpdateHelp);
}

void MainWindow::showAboutPage()
{
    ui->stackedWidget->setCurrentWidget(ui->pageAbout);
}

void MainWindow::openManual()
{
    QDesktopServices::openUrl(QUrl(manualUrl));
}
