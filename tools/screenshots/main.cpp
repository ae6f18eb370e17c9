#include "firmware_stage.h"
#include "mocked_machine.h"
#include "scenes.h"

#include <QApplication>
#include <QDir>

#include <cstdio>

/**
 * fennix-screenshots OUTPUT_DIRECTORY STAGE_DIRECTORY: saves a picture of every
 * page of the program in every state that the manual and the README show. Needs
 * what make-manual-pictures sets up around it.
 */
int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fputs("usage: fennix-screenshots OUTPUT_DIRECTORY STAGE_DIRECTORY\n", stderr);
        return 2;
    }
    QString error;
    if (!Simulator::MockedMachine::isPossible(&error)) {
        std::fprintf(stderr, "fennix-screenshots: %s\n", qPrintable(error));
        return 1;
    }

    // A text cursor that blinks would be in one picture and not in the next.
    QApplication::setCursorFlashTime(0);
    const QDir pictures(arguments[1]);
    const FirmwareStage stage(arguments[2]);
    savePages(pictures);
    saveCapture(pictures);
    saveFirmware(pictures, stage);
    return 0;
}
