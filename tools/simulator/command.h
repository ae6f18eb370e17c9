#pragma once

#include <QProcess>

/**
 * The command that runs in the mocked machine, with no standard input of its own
 * and the simulator's standard output and error.
 */
class Command : public QObject
{
    Q_OBJECT

public:
    explicit Command(const QStringList &programAndArguments, QObject *parent = nullptr);

    void start();

    /** Passes a signal on to the command; nothing happens when it does not run. */
    void sendSignal(int signalNumber);

signals:
    /**
     * The command ended with this exit code: 128 and the signal's number when a
     * signal ended it, 127 when it could not be started, which errorText() explains.
     */
    void ended(int exitCode, const QString &errorText);

private:
    void onFinished(int exitCode, QProcess::ExitStatus status);
    void onError(QProcess::ProcessError error);

    QProcess m_process;
};
