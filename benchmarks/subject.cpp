#include "subject.h"

#include "clock.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>

#include <ctime>

namespace {

constexpr int patienceMs = 60000;

QProcessEnvironment environmentOf(const Subject &subject)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), subject.platform);
    return environment;
}

} // namespace

RunningSubject::RunningSubject(const Subject &subject, const QString &port, bool counted)
{
    QString program = QCoreApplication::applicationDirPath() + QLatin1Char('/') + subject.program;
    QStringList arguments;
    if (!port.isEmpty())
        arguments.append(port);
    if (counted) {
        m_count.open();
        // On X11 a child is sent for D-Bus, which would write its own count first.
        arguments = QStringList {QStringLiteral("--tool=callgrind"),
                                 QStringLiteral("--child-silent-after-fork=yes"),
                                 QStringLiteral("--callgrind-out-file=/dev/null"),
                                 QStringLiteral("--log-file=") + m_count.fileName(), program}
            + arguments;
        program = QStringLiteral("valgrind");
    }
    // The trace of each frame is written, as in real life, but to nowhere.
    m_process.setStandardErrorFile(QProcess::nullDevice());

    m_process.setProcessEnvironment(environmentOf(subject));
    const int64_t begin = nanoseconds(CLOCK_MONOTONIC);
    m_process.start(program, arguments);
    if (!m_process.waitForReadyRead(patienceMs))
        qFatal("%s does not work", qPrintable(subject.program));
    m_startTime = m_process.readAllStandardOutput().trimmed().toLongLong() - begin;
}

RunningSubject::~RunningSubject()
{
    stop();
}

int64_t RunningSubject::cpuTime()
{
    clockid_t clock = {};
    if (clock_getcpuclockid(static_cast<pid_t>(m_process.processId()), &clock) != 0)
        qFatal("a subject has ended early");
    return nanoseconds(clock);
}

long RunningSubject::memory() const
{
    QFile status(QStringLiteral("/proc/%1/status").arg(m_process.processId()));
    if (!status.open(QIODevice::ReadOnly))
        qFatal("a subject has ended early");
    static const QRegularExpression resident(QStringLiteral("VmRSS:\\s*(\\d+) kB"));
    const QRegularExpressionMatch match = resident.match(QString::fromLatin1(status.readAll()));
    // The file stays for as long as nobody has asked how the process ended.
    if (!match.hasMatch())
        qFatal("a subject has ended early");
    return match.captured(1).toLong();
}

int64_t RunningSubject::stop()
{
    m_process.terminate();
    m_process.waitForFinished(patienceMs);
    if (!m_count.isOpen())
        return 0;
    static const QRegularExpression collected(QStringLiteral("Collected : (\\d+)"));
    return collected.match(QString::fromLocal8Bit(m_count.readAll())).captured(1).toLongLong();
}
