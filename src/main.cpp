#include "appearance.h"
#include "debug_log.h"
#include "mainwindow.h"
#include "standard_streams.h"

#include <QApplication>

namespace {

/**
 * Lets the window grow with the screen's resolution, in any ratio. The user's environment
 * variables for scaling take precedence.
 */
void scaleWithTheScreen()
{
    QGuiApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}

} // namespace

int main(int argc, char *argv[])
{
    StandardStreams::secure();
    scaleWithTheScreen();
    QApplication application(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.tarvos.fennix"));
    MainWindow window;
    new Appearance(&window);
    window.show();

    // Only now: what the window's construction logs is not wanted in the log.
    DBG_Init(stdout);
    DBG_Enable(DBG_GENERAL);

    return QApplication::exec();
}
