#pragma once

#include "held_probe.h"
#include "link_finder.h"
#include "log_capture.h"
#include "mainwindow.h"
#include "port_guard.h"
#include "simulated_device.h"

#include <QTest>

class QAbstractButton;
class QAction;

/**
 * The real window, shown, with its log; a test works it as a user would. It waits for
 * a device's channel report until the test releases the probe. Its end also ends what a
 * test leaves behind: an open port and, if it has failed, an installation.
 */
class WindowUnderTest
{
public:
    WindowUnderTest();
    ~WindowUnderTest();
    Q_DISABLE_COPY(WindowUnderTest)

    /** Returns the window of a main() that runs in this process, or null. */
    static MainWindow *ofTheProgram();

    /** Returns the widget of the form with that name; the test ends without it. */
    template<typename Widget>
    Widget *find(const char *name) const
    {
        auto *widget = window.findChild<Widget *>(QLatin1String(name));
        if (!widget)
            qFatal("the window has no %s", name);
        return widget;
    }

    /** Presses the button with the mouse. */
    void click(const char *button) const;

    /**
     * Presses Connect and waits for the device's channel report, which ends the
     * probe of its firmware.
     */
    void connectToDevice() const;

    /** Presses Start, for a capture towards this machine, and waits until @p device sniffs. */
    void startCapture(const Simulator::SimulatedDevice &device) const;

    /** Presses Stop and waits until @p device sniffs no longer. */
    void stopCapture(const Simulator::SimulatedDevice &device) const;

    /** Returns the names of those of Start, Stop and the channel list that are enabled. */
    QList<QByteArray> enabledControls() const;

    /** Returns the number of datagrams that the window shows. */
    int packetCount() const;

    /** Returns the entry of a menu of the menu bar, by their texts. */
    QAction *action(const char *menu, const char *entry) const;

    /** Returns the name of the page that is shown. */
    QByteArray page() const;

    /** Runs a slot of the window as its connection would. */
    void call(const char *slot);

    HeldProbe probe;
    /** Has found the window's connection. */
    LinkFinder link;
    MainWindow window;
    /** What the window has logged since it was built: main() switches the log on then, too. */
    LogCapture log;

private:
    PortGuard m_ports;
};
