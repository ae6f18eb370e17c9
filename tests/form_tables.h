#pragma once

#include "ui_mainwindow.h"

#include <QRect>

/** A window that carries the form and nothing else. */
struct Form
{
    Form() { ui.setupUi(&window); }

    QMainWindow window;
    Ui_MainWindow ui;
};

/**
 * What the form makes of one object. A null geometry leaves the place to a layout; a null
 * text is none of the form's, or too rich for a table. @a slot is the address of the form's
 * member, @a object what that member points to.
 */
struct FormObject
{
    const char *name;
    const void *(*slot)(const Ui_MainWindow &ui);
    const QObject *(*object)(const Ui_MainWindow &ui);
    const char *className;
    const char *parent;
    QRect geometry;
    const char *text;
};
Q_DECLARE_METATYPE(const FormObject *)

/** The name of the property in which an object's class keeps the text that the form sets. */
inline const char *textProperty(const QObject *object)
{
    if (object->inherits("QGroupBox"))
        return "title";
    return object->inherits("QLineEdit") ? "placeholderText" : "text";
}

/** The table row of the form's member @p member, which has the name @p name. */
template<auto member>
FormObject formObject(const char *name, const char *className, const char *parent,
                      const QRect &geometry, const char *text)
{
    return {name,
            [](const Ui_MainWindow &ui) -> const void * { return &(ui.*member); },
            [](const Ui_MainWindow &ui) -> const QObject * { return ui.*member; },
            className,
            parent,
            geometry,
            text};
}

/** Every object of the form in the order of creation. */
inline const FormObject formObjects[] = {
    formObject<&Ui_MainWindow::actionQuit>("actionQuit", "QAction", "MainWindow", QRect(), "Quit"),
    formObject<&Ui_MainWindow::actionDependencies>("actionDependencies", "QAction", "MainWindow",
                                                   QRect(), "Dependencies"),
    formObject<&Ui_MainWindow::centralWidget>("centralWidget", "QWidget", "MainWindow", QRect(),
                                              nullptr),
    formObject<&Ui_MainWindow::verticalLayout>("verticalLayout", "QVBoxLayout", "centralWidget",
                                               QRect(), nullptr),
    formObject<&Ui_MainWindow::stackedWidget>("stackedWidget", "QStackedWidget", "centralWidget",
                                              QRect(), nullptr),

    formObject<&Ui_MainWindow::pageNotConnected>("pageNotConnected", "QWidget", "stackedWidget",
                                                 QRect(), nullptr),
    formObject<&Ui_MainWindow::horizontalLayoutWidget>(
        "horizontalLayoutWidget", "QWidget", "pageNotConnected", QRect(220, 200, 281, 51), nullptr),
    formObject<&Ui_MainWindow::horizontalLayout_2>("horizontalLayout_2", "QHBoxLayout",
                                                   "horizontalLayoutWidget", QRect(), nullptr),
    formObject<&Ui_MainWindow::usbComboBox>("usbComboBox", "QComboBox", "horizontalLayoutWidget",
                                            QRect(), nullptr),
    formObject<&Ui_MainWindow::refreshComButton>("refreshComButton", "QPushButton",
                                                 "horizontalLayoutWidget", QRect(), ""),
    formObject<&Ui_MainWindow::horizontalLayoutWidget_2>("horizontalLayoutWidget_2", "QWidget",
                                                         "pageNotConnected",
                                                         QRect(219, 260, 281, 51), nullptr),
    formObject<&Ui_MainWindow::horizontalLayout_3>("horizontalLayout_3", "QHBoxLayout",
                                                   "horizontalLayoutWidget_2", QRect(), nullptr),
    formObject<&Ui_MainWindow::labelConnectionError>("labelConnectionError", "QLabel",
                                                     "horizontalLayoutWidget_2", QRect(), ""),
    formObject<&Ui_MainWindow::groupBox>("groupBox", "QGroupBox", "pageNotConnected",
                                         QRect(210, 180, 301, 141), "Connect to Device"),
    formObject<&Ui_MainWindow::devConnectButton>(
        "devConnectButton", "QPushButton", "pageNotConnected", QRect(400, 330, 111, 32), "Connect"),
    formObject<&Ui_MainWindow::layoutWidget_4>("layoutWidget_4", "QWidget", "pageNotConnected",
                                               QRect(120, 30, 451, 68), nullptr),
    formObject<&Ui_MainWindow::horizontalLayout_6>("horizontalLayout_6", "QHBoxLayout",
                                                   "layoutWidget_4", QRect(), nullptr),
    formObject<&Ui_MainWindow::logo_3>("logo_3", "QLabel", "layoutWidget_4", QRect(), ""),
    formObject<&Ui_MainWindow::version_4>("version_4", "QLabel", "layoutWidget_4", QRect(),
                                          "A ZigBee Wireshark sniffing tool"),

    formObject<&Ui_MainWindow::pageNoFirmwareTooManyDev>("pageNoFirmwareTooManyDev", "QWidget",
                                                         "stackedWidget", QRect(), nullptr),
    formObject<&Ui_MainWindow::label_firmwareInfo>(
        "label_firmwareInfo", "QLabel", "pageNoFirmwareTooManyDev", QRect(20, 180, 671, 41),
        "To install firmware make sure that only one USB dongle is connected to your machine."),
    formObject<&Ui_MainWindow::label_21>("label_21", "QLabel", "pageNoFirmwareTooManyDev",
                                         QRect(50, 40, 381, 41), "No or wrong firmware found."),
    formObject<&Ui_MainWindow::backBtn_6>("backBtn_6", "QPushButton", "pageNoFirmwareTooManyDev",
                                          QRect(360, 240, 131, 31), "Back"),
    formObject<&Ui_MainWindow::continueBtn>("continueBtn", "QPushButton",
                                            "pageNoFirmwareTooManyDev", QRect(220, 240, 131, 31),
                                            "Continue"),

    formObject<&Ui_MainWindow::pageNoFirmware>("pageNoFirmware", "QWidget", "stackedWidget",
                                               QRect(), nullptr),
    formObject<&Ui_MainWindow::label_3>("label_3", "QLabel", "pageNoFirmware",
                                        QRect(50, 40, 381, 41), "No or wrong firmware found."),
    formObject<&Ui_MainWindow::label_firmwareStatus>(
        "label_firmwareStatus", "QLabel", "pageNoFirmware", QRect(120, 180, 561, 41),
        "Click the button to install sniffer firmware to the USB dongle."),
    formObject<&Ui_MainWindow::installFwBtn>("installFwBtn", "QPushButton", "pageNoFirmware",
                                             QRect(220, 240, 131, 31), "Install Firmware"),
    formObject<&Ui_MainWindow::backBtn>("backBtn", "QPushButton", "pageNoFirmware",
                                        QRect(360, 240, 131, 31), "Back"),

    formObject<&Ui_MainWindow::pageWiresharkHelp>("pageWiresharkHelp", "QWidget", "stackedWidget",
                                                  QRect(), nullptr),
    formObject<&Ui_MainWindow::backBtn_2>("backBtn_2", "QPushButton", "pageWiresharkHelp",
                                          QRect(570, 440, 101, 31), "Back"),
    formObject<&Ui_MainWindow::helpTextWin>("helpTextWin", "QTextBrowser", "pageWiresharkHelp",
                                            QRect(40, 30, 631, 391), nullptr),
    formObject<&Ui_MainWindow::helpTextLinux>("helpTextLinux", "QTextBrowser", "pageWiresharkHelp",
                                              QRect(40, 40, 631, 391), nullptr),

    formObject<&Ui_MainWindow::pageDependencies>("pageDependencies", "QWidget", "stackedWidget",
                                                 QRect(), nullptr),
    formObject<&Ui_MainWindow::backBtn_3>("backBtn_3", "QPushButton", "pageDependencies",
                                          QRect(550, 410, 101, 31), "Back"),
    formObject<&Ui_MainWindow::label_9>("label_9", "QLabel", "pageDependencies",
                                        QRect(60, 40, 161, 21), "Hardware"),
    formObject<&Ui_MainWindow::label_10>("label_10", "QLabel", "pageDependencies",
                                         QRect(60, 140, 161, 21), "Software"),
    formObject<&Ui_MainWindow::label_11>("label_11", "QLabel", "pageDependencies",
                                         QRect(60, 80, 611, 31), "- Mirzel USB dongle"),
    formObject<&Ui_MainWindow::label_12>(
        "label_12", "QLabel", "pageDependencies", QRect(60, 180, 611, 31),
        "- Newest Wireshark version (tested with v2.2.5 and 2.6.1)"),
    formObject<&Ui_MainWindow::label_13>(
        "label_13", "QLabel", "pageDependencies", QRect(60, 210, 611, 31),
        "- (optional) Npcap packet capture library for Windows (tested with v0.84 to 0.97)"),

    formObject<&Ui_MainWindow::pageFwUpdateHelp>("pageFwUpdateHelp", "QWidget", "stackedWidget",
                                                 QRect(), nullptr),
    formObject<&Ui_MainWindow::label_14>("label_14", "QLabel", "pageFwUpdateHelp",
                                         QRect(60, 40, 171, 21), "How to update firmware"),
    formObject<&Ui_MainWindow::label_15>(
        "label_15", "QLabel", "pageFwUpdateHelp", QRect(60, 180, 631, 31),
        "- Make sure that only 1 USB dongle is connected to your machine"),
    formObject<&Ui_MainWindow::label_16>(
        "label_16", "QLabel", "pageFwUpdateHelp", QRect(60, 100, 621, 31),
        "- Click the connect button. If the device has no or the wrong firmware installed"),
    formObject<&Ui_MainWindow::label_17>("label_17", "QLabel", "pageFwUpdateHelp",
                                         QRect(60, 230, 621, 31),
                                         "- Click the install firmware button to start the update"),
    formObject<&Ui_MainWindow::backBtn_4>("backBtn_4", "QPushButton", "pageFwUpdateHelp",
                                          QRect(550, 410, 101, 31), "Back"),
    formObject<&Ui_MainWindow::label_22>(
        "label_22", "QLabel", "pageFwUpdateHelp", QRect(60, 280, 621, 31),
        "- To start an update manually you can use the command line tool Ostraflash"),
    formObject<&Ui_MainWindow::label_28>("label_28", "QLabel", "pageFwUpdateHelp",
                                         QRect(80, 130, 621, 31),
                                         "the update firmware page will be displayed"),
    formObject<&Ui_MainWindow::label_29>("label_29", "QLabel", "pageFwUpdateHelp",
                                         QRect(80, 310, 621, 31),
                                         "which is found in the sniffer install directory"),

    formObject<&Ui_MainWindow::pageAbout>("pageAbout", "QWidget", "stackedWidget", QRect(),
                                          nullptr),
    formObject<&Ui_MainWindow::backBtn_5>("backBtn_5", "QPushButton", "pageAbout",
                                          QRect(550, 410, 101, 31), "Back"),
    formObject<&Ui_MainWindow::label_18>("label_18", "QLabel", "pageAbout", QRect(60, 40, 171, 21),
                                         "About FENNIX"),
    formObject<&Ui_MainWindow::label_19>("label_19", "QLabel", "pageAbout", QRect(60, 120, 531, 31),
                                         nullptr),
    formObject<&Ui_MainWindow::label_20>("label_20", "QLabel", "pageAbout", QRect(60, 90, 361, 31),
                                         "Version 1.02"),

    formObject<&Ui_MainWindow::pageConnected>("pageConnected", "QWidget", "stackedWidget", QRect(),
                                              nullptr),
    formObject<&Ui_MainWindow::devDisconnectButton>("devDisconnectButton", "QPushButton",
                                                    "pageConnected", QRect(400, 410, 141, 32),
                                                    "Disconnect"),
    formObject<&Ui_MainWindow::groupBox_2>("groupBox_2", "QGroupBox", "pageConnected",
                                           QRect(150, 120, 391, 271), "Capture"),
    formObject<&Ui_MainWindow::label_2>("label_2", "QLabel", "groupBox_2", QRect(20, 230, 131, 21),
                                        "Received Packets"),
    formObject<&Ui_MainWindow::label_packetCount>("label_packetCount", "QLabel", "groupBox_2",
                                                  QRect(170, 230, 211, 20), "0"),
    formObject<&Ui_MainWindow::label_com_port>("label_com_port", "QLabel", "groupBox_2",
                                               QRect(170, 30, 211, 20), "Connecting..."),
    formObject<&Ui_MainWindow::label_4>("label_4", "QLabel", "groupBox_2", QRect(20, 30, 131, 16),
                                        "COM Port"),
    formObject<&Ui_MainWindow::groupBox_3>("groupBox_3", "QGroupBox", "groupBox_2",
                                           QRect(20, 60, 361, 71), "Remote Capture"),
    formObject<&Ui_MainWindow::horizontalLayoutWidget_3>(
        "horizontalLayoutWidget_3", "QWidget", "groupBox_3", QRect(19, 9, 331, 61), nullptr),
    formObject<&Ui_MainWindow::horizontalLayout>("horizontalLayout", "QHBoxLayout",
                                                 "horizontalLayoutWidget_3", QRect(), nullptr),
    formObject<&Ui_MainWindow::remoteIpInput>(
        "remoteIpInput", "QLineEdit", "horizontalLayoutWidget_3", QRect(), "remote ip address"),
    formObject<&Ui_MainWindow::groupBox_4>("groupBox_4", "QGroupBox", "groupBox_2",
                                           QRect(20, 140, 361, 71), "Channel"),
    formObject<&Ui_MainWindow::horizontalLayoutWidget_4>(
        "horizontalLayoutWidget_4", "QWidget", "groupBox_4", QRect(19, 9, 331, 61), nullptr),
    formObject<&Ui_MainWindow::horizontalLayout_4>("horizontalLayout_4", "QHBoxLayout",
                                                   "horizontalLayoutWidget_4", QRect(), nullptr),
    formObject<&Ui_MainWindow::channelSelect>("channelSelect", "QComboBox",
                                              "horizontalLayoutWidget_4", QRect(), nullptr),
    formObject<&Ui_MainWindow::OffBtn>("OffBtn", "QPushButton", "horizontalLayoutWidget_4", QRect(),
                                       "Stop"),
    formObject<&Ui_MainWindow::OnBtn>("OnBtn", "QPushButton", "horizontalLayoutWidget_4", QRect(),
                                      "Start"),
    formObject<&Ui_MainWindow::startWsButton>("startWsButton", "QPushButton", "pageConnected",
                                              QRect(150, 410, 241, 32),
                                              "How to configure Wireshark"),
    formObject<&Ui_MainWindow::layoutWidget_3>("layoutWidget_3", "QWidget", "pageConnected",
                                               QRect(120, 30, 451, 68), nullptr),
    formObject<&Ui_MainWindow::horizontalLayout_5>("horizontalLayout_5", "QHBoxLayout",
                                                   "layoutWidget_3", QRect(), nullptr),
    formObject<&Ui_MainWindow::logo_2>("logo_2", "QLabel", "layoutWidget_3", QRect(), ""),
    formObject<&Ui_MainWindow::version_3>("version_3", "QLabel", "layoutWidget_3", QRect(),
                                          "A ZigBee Wireshark sniffing tool"),

    formObject<&Ui_MainWindow::menuBar>("menuBar", "QMenuBar", "MainWindow", QRect(0, 0, 718, 21),
                                        nullptr),
    formObject<&Ui_MainWindow::statusBar>("statusBar", "QStatusBar", "MainWindow", QRect(),
                                          nullptr),
};
