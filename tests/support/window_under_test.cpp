#include "window_under_test.h"

#include "message_capture.h"
#include "patience.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QProcess>
#include <QStackedWidget>
#include <QVector>

#include <algorithm>

WindowUnderTest::WindowUnderTest()
{
    // A connection outlives its window; leak checkers are to find it.
    static auto *const connections = new QVector<Connection *>;
    connections->append(link.connection());
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        qFatal("the window does not show");
}

WindowUnderTest::~WindowUnderTest()
{
    loseSomePatience();
    if (!QTest::currentTestFailed())
        return;
    // The window would wait for an installation that nobody lets go on.
    const auto processes = window.findChildren<QProcess *>();
    for (QProcess *process : processes) {
        process->kill();
        process->waitForFinished();
    }
}

MainWindow *WindowUnderTest::ofTheProgram()
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget *widget : widgets) {
        if (auto *window = qobject_cast<MainWindow *>(widget))
            return window;
    }
    return nullptr;
}

void WindowUnderTest::click(const char *button) const
{
    auto *widget = find<QAbstractButton>(button);
    QVERIFY2(widget->isVisible(), button);
    QTest::mouseClick(widget, Qt::LeftButton);
}

void WindowUnderTest::connectToDevice() const
{
    const MessageCapture messages;
    click("devConnectButton");
    QTRY_VERIFY_WITH_TIMEOUT(messages.contains("set channel"), patienceMs());
}

void WindowUnderTest::startCapture(const Simulator::SimulatedDevice &device) const
{
    find<QLineEdit>("remoteIpInput")->clear();
    click("OnBtn");
    QTRY_VERIFY_WITH_TIMEOUT(device.isSniffing(), patienceMs());
}

void WindowUnderTest::stopCapture(const Simulator::SimulatedDevice &device) const
{
    click("OffBtn");
    QTRY_VERIFY_WITH_TIMEOUT(!device.isSniffing(), patienceMs());
}

QList<QByteArray> WindowUnderTest::enabledControls() const
{
    QList<QByteArray> names = {"OnBtn", "OffBtn", "channelSelect"};
    const auto isDisabled = [this](const QByteArray &name) {
        return !find<QWidget>(name)->isEnabled();
    };
    names.erase(std::remove_if(names.begin(), names.end(), isDisabled), names.end());
    return names;
}

int WindowUnderTest::packetCount() const
{
    return find<QLabel>("label_packetCount")->text().toInt();
}

QAction *WindowUnderTest::action(const char *menu, const char *entry) const
{
    const QList<QAction *> menus = window.menuBar()->actions();
    for (const QAction *candidate : menus) {
        if (candidate->text() != QLatin1String(menu))
            continue;
        const QList<QAction *> entries = candidate->menu()->actions();
        for (QAction *found : entries) {
            if (found->text() == QLatin1String(entry))
                return found;
        }
    }
    qFatal("the menu %s has no entry %s", menu, entry);
}

QByteArray WindowUnderTest::page() const
{
    return find<QStackedWidget>("stackedWidget")->currentWidget()->objectName().toLatin1();
}

void WindowUnderTest::call(const char *slot)
{
    if (!QMetaObject::invokeMethod(&window, slot))
        qFatal("the window has no slot %s()", slot);
}
