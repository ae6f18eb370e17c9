#pragma once

#include <QProcess>

/**
 * The process of the flashing tool. The program never ends it, not even by its own end:
 * a device whose installation is cut short is left without firmware.
 */
class FlashingProcess : public QProcess
{
    Q_OBJECT

public:
    using QProcess::QProcess;

    /**
     * Reads what @p process writes until it has ended, for up to @p patienceMs; its signals
     * arrive. If it is still at work then, it is left to itself: it has no owner any more
     * and is never destroyed, since a QProcess kills in its destructor. Null is nothing to do.
     */
    static void letFinish(QProcess *process, int patienceMs);

protected:
    void setupChildProcess() override;
};
