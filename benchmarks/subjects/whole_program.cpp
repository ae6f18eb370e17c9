// The program as it captures: its window on the page that counts the frames. With a port it
// takes that one, since a search would find no device behind a pseudo-terminal.

#include "appearance.h"
#include "debug_log.h"
#include "mainwindow.h"
#include "ready.h"

#include <QApplication>
#include <QTest>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.tarvos.fennix"));
    MainWindow window;
    new Appearance(&window);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return 1;
    DBG_Init(stderr);
    DBG_Enable(DBG_GENERAL);
    if (argc == 2) {
        MainWindow::availableComPorts = {QString::fromLocal8Bit(argv[1])};
        // Painted before, the page leaves the device its 300 ms, also where every step is counted.
        QMetaObject::invokeMethod(&window, "showConnectedPage");
        QTest::qWait(0);
        QCoreApplication::processEvents();
        QMetaObject::invokeMethod(&window, "tryConnectDevices");
    }
    sayReady();
    return QApplication::exec();
}
