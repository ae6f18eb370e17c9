#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QStringList>
#include <QTemporaryDir>

/**
 * Stands in for sudo and the flashing tool: an executable `sudo`, first in the
 * search path for as long as this object lives, that notes its arguments and then
 * runs the lines of a shell script.
 */
class FlashingTool
{
public:
    /** @p script is what it does; "await" in it waits for release(), "$folder" is its own. */
    explicit FlashingTool(const QByteArray &script);
    ~FlashingTool();
    Q_DISABLE_COPY(FlashingTool)

    /** Returns the arguments of each run so far. */
    QList<QStringList> runs() const;

    /** Returns whether a run has left a file of that name in "$folder". */
    bool hasLeft(const QString &name) const;

    /** Lets a run that waits go on. */
    void release() const;

private:
    QTemporaryDir m_folder;
    QByteArray m_savedPath;
};

/**
 * The directory that the program takes firmware from: missing until something is
 * added, and taken away with the object. For a process with its own /usr/share;
 * ends any other one.
 */
class FirmwareDirectory
{
public:
    FirmwareDirectory();
    ~FirmwareDirectory();
    Q_DISABLE_COPY(FirmwareDirectory)

    static void addFile(const QString &name, const QDateTime &modified);
    static void addFolder(const QString &name);
};
