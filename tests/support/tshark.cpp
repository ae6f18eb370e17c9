#include "tshark.h"

#include <QProcess>
#include <QTemporaryDir>

namespace {

constexpr int patienceMs = 120000;

/** Holds no plug-ins and no preferences. */
const QTemporaryDir &emptyFolder()
{
    static const QTemporaryDir folder;
    return folder;
}

void startProgram(QProcess *process, const QStringList &command, Tshark::PlugIn plugIn)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // It belongs to the real machine, not to the mocked one, nor are its user's preferences
    // those of the test.
    environment.remove("LD_PRELOAD");
    environment.remove("UMOCKDEV_DIR");
    environment.insert("WIRESHARK_CONFIG_DIR", emptyFolder().path());
    process->setProcessEnvironment(environment);
    const QString plugIns =
        plugIn == Tshark::PlugIn::Fennix ? QStringLiteral(PLUGIN_FOLDER) : emptyFolder().path();
    process->start(WITH_PLUGINS, QStringList {plugIns} + command);
}

} // namespace

void Tshark::start(QProcess *process, const QStringList &arguments, PlugIn plugIn)
{
    startProgram(process, QStringList {"tshark"} + arguments, plugIn);
}

QByteArray Tshark::answers(const QByteArray &requests)
{
    QProcess process;
    startProgram(&process, {"sharkd", "-"}, PlugIn::Fennix);
    process.write(requests);
    process.closeWriteChannel();
    if (!process.waitForFinished(patienceMs))
        qFatal("sharkd does not end");
    return process.readAllStandardOutput();
}

QByteArray Tshark::output(const QStringList &arguments, PlugIn plugIn)
{
    QProcess process;
    start(&process, arguments, plugIn);
    const bool hasEnded = process.waitForFinished(patienceMs);
    const QByteArray complaints = process.readAllStandardError();
    QByteArray output = process.readAllStandardOutput();
    if (!hasEnded || process.exitCode() != 0 || complaints.contains("Lua")
        || output.contains("Lua Error"))
        qFatal("tshark %s: %s", qPrintable(arguments.join(' ')), complaints.constData());
    return output;
}

QVector<QStringList> Tshark::fields(const QString &file, const QStringList &fields,
                                    const QStringList &options, PlugIn plugIn)
{
    QStringList arguments = QStringList {"-n", "-r", file, "-T", "fields"} + options;
    for (const QString &field : fields)
        arguments += {"-e", field};
    QVector<QStringList> rows;
    const QList<QByteArray> lines = output(arguments, plugIn).split('\n');
    for (const QByteArray &line : lines) {
        if (!line.trimmed().isEmpty())
            rows.append(QString::fromUtf8(line).split('\t'));
    }
    return rows;
}
