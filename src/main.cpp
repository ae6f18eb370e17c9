#include "appearance.h"
#include "debug_log.h"
#include "mainwindow.h"
#include "standard_streams.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    StandardStreams::secure();
    Appearance::scaleWithTheScreen();
    QApplication application(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.tarvos.fennix"));
    const Appearance appearance;
    MainWindow window;
    window.show();

    // Only now: what the window's construction logs is not wanted in the log.
    DBG_Init(stdout);
    DBG_Enable(DBG_GENERAL);

    return QApplication::exec();
}
