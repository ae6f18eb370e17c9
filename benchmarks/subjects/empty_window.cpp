// The floor for start and memory: a main window with nothing in it.

#include "ready.h"

#include <QApplication>
#include <QMainWindow>
#include <QTest>

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    QMainWindow window;
    window.resize(718, 534);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return 1;
    sayReady();
    return QApplication::exec();
}
