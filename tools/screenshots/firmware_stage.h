#pragma once

#include <QString>

/**
 * A folder that stands in for what the firmware pages reach outside the program:
 * its "fw" is mounted as the firmware directory, its "bin/sudo" comes first in
 * PATH and ends with the exit code that it reads from the pipe "outcome".
 */
class FirmwareStage
{
public:
    /** Ends the program (qFatal) unless the folder is set up; the real sudo is never run. */
    explicit FirmwareStage(const QString &directory);

    /** Puts one firmware file into the firmware directory and returns its name. */
    QString placeFirmware() const;
    void removeFirmware() const;

    /** Ends the run of the flashing tool with success. */
    void finishFlashing() const;

private:
    QString firmwarePath() const;

    const QString m_directory;
};
