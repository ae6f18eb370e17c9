#include "command.h"

#include <csignal>

Command::Command(const QStringList &programAndArguments, QObject *parent)
    : QObject(parent)
{
    m_process.setProgram(programAndArguments.value(0));
    m_process.setArguments(programAndArguments.mid(1));
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    m_process.setStandardInputFile(QProcess::nullDevice());
    connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &Command::onFinished);
    connect(&m_process, &QProcess::errorOccurred, this, &Command::onError);
}

void Command::start()
{
    m_process.start();
}

void Command::sendSignal(int signalNumber)
{
    if (m_process.processId() != 0)
        ::kill(static_cast<pid_t>(m_process.processId()), signalNumber);
}

void Command::onFinished(int exitCode, QProcess::ExitStatus status)
{
    // For a crash, Qt gives the number of the signal as the exit code.
    constexpr int signalBase = 128;
    emit ended(status == QProcess::CrashExit ? signalBase + exitCode : exitCode, QString());
}

void Command::onError(QProcess::ProcessError error)
{
    constexpr int cannotStart = 127;
    if (error == QProcess::FailedToStart)
        emit ended(cannotStart, QStringLiteral("cannot start '%1'").arg(m_process.program()));
}
