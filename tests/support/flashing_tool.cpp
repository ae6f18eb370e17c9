#include "flashing_tool.h"

#include <QDir>
#include <QFile>

namespace {

const QLatin1String firmwareDirectory("/usr/share/fennix/fw");

constexpr char scriptHead[] = R"(#!/bin/sh
folder=$(dirname "$0")
await()
{
    tries=0
    until [ -e "$folder/released" ]; do
        # A test that has failed leaves no folder; one that was killed releases nobody.
        [ -d "$folder" ] && [ $((tries += 1)) -lt 30000 ] || exit 1
        sleep 0.01
    done
}
printf '%s\n' "$*" >> "$folder/runs"
)";

QFile *created(QFile *file)
{
    if (!file->open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(file->fileName()));
    return file;
}

} // namespace

FlashingTool::FlashingTool(const QByteArray &script)
    : m_savedPath(qgetenv("PATH"))
{
    QFile file(m_folder.filePath("sudo"));
    created(&file)->write(scriptHead + script + '\n');
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("PATH", QFile::encodeName(m_folder.path()) + ':' + m_savedPath);
}

FlashingTool::~FlashingTool()
{
    qputenv("PATH", m_savedPath);
}

QList<QStringList> FlashingTool::runs() const
{
    QFile file(m_folder.filePath("runs"));
    QList<QStringList> runs;
    if (file.open(QIODevice::ReadOnly))
        while (!file.atEnd())
            runs.append(QString::fromLocal8Bit(file.readLine().chopped(1)).split(' '));
    return runs;
}

bool FlashingTool::hasLeft(const QString &name) const
{
    return QFile::exists(m_folder.filePath(name));
}

void FlashingTool::release() const
{
    QFile file(m_folder.filePath("released"));
    created(&file);
}

FirmwareDirectory::FirmwareDirectory()
{
    if (!qEnvironmentVariableIsSet("FENNIX_TEST_IS_ALONE"))
        qFatal("the test changes /usr/share; start it by tests/support/run-alone");
}

FirmwareDirectory::~FirmwareDirectory()
{
    QDir(firmwareDirectory).removeRecursively();
}

void FirmwareDirectory::addFile(const QString &name, const QDateTime &modified)
{
    QDir().mkpath(firmwareDirectory);
    QFile file(QDir(firmwareDirectory).filePath(name));
    created(&file)->setFileTime(modified, QFileDevice::FileModificationTime);
}

void FirmwareDirectory::addFolder(const QString &name)
{
    QDir(firmwareDirectory).mkpath(name);
}
