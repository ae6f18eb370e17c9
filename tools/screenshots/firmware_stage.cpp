#include "firmware_stage.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

const QString firmwareName = QStringLiteral("sniffer.GCF");

} // namespace

FirmwareStage::FirmwareStage(const QString &directory)
    : m_directory(QFileInfo(directory).canonicalFilePath())
{
    const QString sudo = QStandardPaths::findExecutable(QStringLiteral("sudo"));
    if (m_directory.isEmpty() || sudo != m_directory + QLatin1String("/bin/sudo"))
        qFatal("the stand-in for sudo does not come first; run "
               "tools/screenshots/make-manual-pictures");
}

QString FirmwareStage::placeFirmware() const
{
    QFile file(firmwarePath());
    if (!file.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return firmwareName;
}

void FirmwareStage::removeFirmware() const
{
    QFile::remove(firmwarePath());
}

void FirmwareStage::finishFlashing() const
{
    QFile outcome(m_directory + QLatin1String("/outcome"));
    if (!outcome.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(outcome.fileName()));
    outcome.write("0\n");
}

QString FirmwareStage::firmwarePath() const
{
    return m_directory + QLatin1String("/fw/") + firmwareName;
}
