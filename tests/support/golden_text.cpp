#include "golden_text.h"

#include "patience.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QProcess>

bool isGoldenText(const QString &name, const QString &text)
{
    QProcess diff;
    diff.setProcessChannelMode(QProcess::ForwardedChannels);
    diff.start("diff", {"-u", QString(GOLDEN_FOLDER "/") + name, "-"});
    diff.write(text.toUtf8());
    diff.closeWriteChannel();
    const bool isSame = diff.waitForFinished(patienceMs())
        && diff.exitStatus() == QProcess::NormalExit && diff.exitCode() == 0;
    if (!isSame) {
        QFile found(QString(NEW_GOLDEN_FOLDER "/") + name);
        QDir().mkpath(NEW_GOLDEN_FOLDER);
        if (found.open(QIODevice::WriteOnly) && found.write(text.toUtf8()) >= 0)
            qInfo() << "The new text is in" << found.fileName();
    }
    return isSame;
}
