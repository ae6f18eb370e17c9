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

#define FORM_OBJECT(member, ...) formObject<&Ui_MainWindow::member>(#member, __VA_ARGS__)

/** Every object of the form in the order of creation. */
inline const FormObject formObjects[] = {
    FORM_OBJECT(actionQuit, "QAction", "MainWindow", QRect(), "Quit"),
    FORM_OBJECT(actionDependencies, "QAction", "MainWindow", QRect(), "Dependencies"),
    FORM_OBJECT(centralWidget, "QWidget", "MainWindow", QRect(), nullptr),
    FORM_OBJECT(verticalLayout, "QVBoxLayout", "centralWidget", QRect(), nullptr),
    FORM_OBJECT(stackedWidget, "QStackedWidget", "centralWidget", QRect(), nullptr),

    FORM_OBJECT(pageNotConnected, "QWidget", "stackedWidget", QRect(), nullptr),
    FORM_OBJECT(horizontalLayoutWidget, "QWidget", "pageNotConnected", QRect(220, 200, 281, 51),
                nullptr),
    FORM_OBJECT(horizontalLayout_2, "QHBoxLayout", "horizontalLayoutWidget", QRect(), nullptr),
    FORM_OBJECT(usbComboBox, "QComboBox", "horizontalLayoutWidget", QRect(), nullptr),
    FORM_OBJECT(refreshComButton, "QPushButton", "horizontalLayoutWidget", QRect(), ""),
    FORM_OBJECT(horizontalLayoutWidget_2, "QWidget", "pageNotConnected", QRect(219, 260, 281, 51),
                nullptr),
    FORM_OBJECT(horizontalLayout_3, "QHBoxLayout", "horizontalLayoutWidget_2", QRect(), nullptr),
    FORM_OBJECT(labelConnectionError, "QLabel", "horizontalLayoutWidget_2", QRect(), ""),
    FORM_OBJECT(groupBox, "QGroupBox", "pageNotConnected", QRect(210, 180, 301, 141),
                "Connect to Device"),
    FORM_OBJECT(devConnectButton, "QPushButton", "pageNotConnected", QRect(400, 330, 111, 32),
                "Connect"),
    FORM_OBJECT(layoutWidget_4, "QWidget", "pageNotConnected", QRect(120, 30, 451, 68), nullptr),
    FORM_OBJECT(horizontalLayout_6, "QHBoxLayout", "layoutWidget_4", QRect(), nullptr),
    FORM_OBJECT(logo_3, "QLabel", "layoutWidget_4", QRect(), ""),
    FORM_OBJECT(version_4, "QLabel", "layoutWidget_4", QRect(), "A ZigBee Wireshark sniffing tool"),

    FORM_OBJECT(pageNoFirmwareTooManyDev, "QWidget", "stackedWidget", QRect(), nullptr),
    FORM_OBJECT(
        label_firmwareInfo, "QLabel", "pageNoFirmwareTooManyDev", QRect(20, 180, 671, 41),
        "To install firmware make sure that only one USB dongle is connected to your machine."),
    FORM_OBJECT(label_21, "QLabel", "pageNoFirmwareTooManyDev", QRect(50, 40, 381, 41),
                "No or wrong firmware found."),
    FORM_OBJECT(backBtn_6, "QPushButton", "pageNoFirmwareTooManyDev", QRect(360, 240, 131, 31),
                "Back"),
    FORM_OBJECT(continueBtn, "QPushButton", "pageNoFirmwareTooManyDev", QRect(220, 240, 131, 31),
                "Continue"),

    FORM_OBJECT(pageNoFirmware, "QWidget", "stackedWidget", QRect(), nullptr),
    FORM_OBJECT(label_3, "QLabel", "pageNoFirmware", QRect(50, 40, 381, 41),
                "No or wrong firmware found."),
    FORM_OBJECT(label_firmwareStatus, "QLabel", "pageNoFirmware", QRect(120, 180, 561, 41),
                "Click the button to install sniffer firmware to the USB dongle."),
    FORM_OBJECT(installFwBtn, "QPushButton", "pageNoFirmware", QRect(220, 240, 131, 31),
                "Install Firmware"),
    FORM_OBJECT(backBtn, "QPushButton", "pageNoFirmware", QRect(360, 240, 131, 31), "Back"),

    FORM_OBJECT(pageWiresharkHelp, "QWidget", "stackedWidget", QRect(), nullptr),
    FORM_OBJECT(backBtn_2, "QPushButton", "pageWiresharkHelp", QRect(570, 440, 101, 31), "Back"),
    FORM_OBJECT(helpTextWin, "QTextBrowser", "pageWiresharkHelp", QRect(40, 30, 631, 391), nullptr),
    FORM_OBJECT(helpTextLinux, "QTextBrowser", "pageWiresharkHelp", QRect(40, 40, 631, 391),
                nullptr),

    FORM_OBJECT(pageDependencies, "QWidget", "stackedWidget", QRect(), nullptr),
    FORM_OBJECT(backBtn_3, "QPushButton", "pageDependencies", QRect(550, 410, 101, 31), "Back"),
    FORM_OBJECT(label_9, "QLabel", "pageDependencies", QRect(60, 40, 161, 21), "Hardware"),
    FORM_OBJECT(label_10, "QLabel", "pageDependencies", QRect(60, 140, 161, 21), "Software"),
    FORM_OBJECT(label_11, "QLabel", "pageDependencies", QRect(60, 80, 611, 31),
                "- Mirzel USB dongle"),
    FORM_OBJECT(label_12, "QLabel", "pageDependencies", QRect(60, 180, 611, 31),
                "- Newest Wireshark version (tested with v2.2.5 and 2.6.1)"),
    FORM_OBJECT(
        label_13, "QLabel", "pageDependencies", QRect(60, 210, 611, 31),
        "- (optional) Npcap packet capture library for Windows (tested with v0.84 to 0.97)"),

    FORM_OBJECT(pageFwUpdateHelp, "QWidget", "stackedWidget", QRect(), nullptr),
    FORM_OBJECT(label_14, "QLabel", "pageFwUpdateHelp", QRect(60, 40, 171, 21),
                "How to update firmware"),
    FORM_OBJECT(label_15, "QLabel", "pageFwUpdateHelp", QRect(60, 180, 631, 31),
                "- Make sure that only 1 USB dongle is connected to your machine"),
    FORM_OBJECT(label_16, "QLabel", "pageFwUpdateHelp", QRect(60, 100, 621, 31),
                "- Click the connect button. If the device has no or the wrong firmware installed"),
    FORM_OBJECT(label_17, "QLabel", "pageFwUpdateHelp", QRect(60, 230, 621, 31),
                "- Click the install firmware button to start the update"),
    FORM_OBJECT(backBtn_4, "QPushButton", "pageFwUpdateHelp", QRect(550, 410, 101, 31), "Back"),
    FORM_OBJECT(label_22, "QLabel", "pageFwUpdateHelp", QRect(60, 280, 621, 31),
                "- To start an update manually you can use the command line tool Ostraflash"),
    FORM_OBJECT(label_28, "QLabel", "pageFwUpdateHelp", QRect(80, 130, 621, 31),
                "the update firmware page will be displayed"),
    FORM_OBJECT(label_29, "QLabel", "pageFwUpdateHelp", QRect(80, 310, 621, 31),
                "which is found in the sniffer install directory"),

    FORM_OBJECT(pageAbout, "QWidget", "stackedWidget", QRect(), nullptr),
    FORM_OBJECT(backBtn_5, "QPushButton", "pageAbout", QRect(550, 410, 101, 31), "Back"),
    FORM_OBJECT(label_18, "QLabel", "pageAbout", QRect(60, 40, 171, 21), "About FENNIX"),
    FORM_OBJECT(label_19, "QLabel", "pageAbout", QRect(60, 120, 531, 31), nullptr),
    FORM_OBJECT(label_20, "QLabel", "pageAbout", QRect(60, 90, 361, 31), "Version 1.02"),

    FORM_OBJECT(pageConnected, "QWidget", "stackedWidget", QRect(), nullptr),
    FORM_OBJECT(devDisconnectButton, "QPushButton", "pageConnected", QRect(400, 410, 141, 32),
                "Disconnect"),
    FORM_OBJECT(groupBox_2, "QGroupBox", "pageConnected", QRect(150, 120, 391, 271), "Capture"),
    FORM_OBJECT(label_2, "QLabel", "groupBox_2", QRect(20, 230, 131, 21), "Received Packets"),
    FORM_OBJECT(label_packetCount, "QLabel", "groupBox_2", QRect(170, 230, 211, 20), "0"),
    FORM_OBJECT(label_com_port, "QLabel", "groupBox_2", QRect(170, 30, 211, 20), "Connecting..."),
    FORM_OBJECT(label_4, "QLabel", "groupBox_2", QRect(20, 30, 131, 16), "COM Port"),
    FORM_OBJECT(groupBox_3, "QGroupBox", "groupBox_2", QRect(20, 60, 361, 71), "Remote Capture"),
    FORM_OBJECT(horizontalLayoutWidget_3, "QWidget", "groupBox_3", QRect(19, 9, 331, 61), nullptr),
    FORM_OBJECT(horizontalLayout, "QHBoxLayout", "horizontalLayoutWidget_3", QRect(), nullptr),
    FORM_OBJECT(remoteIpInput, "QLineEdit", "horizontalLayoutWidget_3", QRect(),
                "remote ip address"),
    FORM_OBJECT(groupBox_4, "QGroupBox", "groupBox_2", QRect(20, 140, 361, 71), "Channel"),
    FORM_OBJECT(horizontalLayoutWidget_4, "QWidget", "groupBox_4", QRect(19, 9, 331, 61), nullptr),
    FORM_OBJECT(horizontalLayout_4, "QHBoxLayout", "horizontalLayoutWidget_4", QRect(), nullptr),
    FORM_OBJECT(channelSelect, "QComboBox", "horizontalLayoutWidget_4", QRect(), nullptr),
    FORM_OBJECT(OffBtn, "QPushButton", "horizontalLayoutWidget_4", QRect(), "Stop"),
    FORM_OBJECT(OnBtn, "QPushButton", "horizontalLayoutWidget_4", QRect(), "Start"),
    FORM_OBJECT(startWsButton, "QPushButton", "pageConnected", QRect(150, 410, 241, 32),
                "How to configure Wireshark"),
    FORM_OBJECT(layoutWidget_3, "QWidget", "pageConnected", QRect(120, 30, 451, 68), nullptr),
    FORM_OBJECT(horizontalLayout_5, "QHBoxLayout", "layoutWidget_3", QRect(), nullptr),
    FORM_OBJECT(logo_2, "QLabel", "layoutWidget_3", QRect(), ""),
    FORM_OBJECT(version_3, "QLabel", "layoutWidget_3", QRect(), "A ZigBee Wireshark sniffing tool"),

    FORM_OBJECT(menuBar, "QMenuBar", "MainWindow", QRect(0, 0, 718, 21), nullptr),
    FORM_OBJECT(statusBar, "QStatusBar", "MainWindow", QRect(), nullptr),
};

#undef FORM_OBJECT
