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

    /** How long the program's end waits for the tool: an installation takes less than a minute. */
    static constexpr int installationPatienceMs = 2 * 60 * 1000;

    /**
     * Reads what @p process writes until it has ended, for up to @p patienceMs; its signals
     * arrive. If it still runs then, it is left to itself: it loses its parent and is never
     * destroyed, since a QProcess kills in its destructor. Returns at once if it does not run.
     */
    static void letFinish(QProcess &process, int patienceMs = installationPatienceMs);

protected:
    void setupChildProcess() override;
};
