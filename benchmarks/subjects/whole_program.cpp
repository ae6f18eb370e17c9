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
    Appearance::scaleWithTheScreen();
    QApplication application(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.tarvos.fennix"));
    const Appearance appearance;
    MainWindow window;
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return 1;
    DBG_Init(stderr);
    DBG_Enable(DBG_GENERAL);
    if (argc == 2) {
        MainWindow::availableComPorts = {QString::fromLocal8Bit(argv[1])};
        QMetaObject::invokeMethod(&window, "tryConnectDevices");
        QMetaObject::invokeMethod(&window, "showConnectedPage");
    }
    sayReady();
    return QApplication::exec();
}
