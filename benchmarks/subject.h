#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryFile>

#include <cstdint>

/** What is measured: a program that takes the path of a serial port. */
struct Subject
{
    QString name;
    QString program; ///< File name beside the benchmark's own.
    QString platform; ///< For QT_QPA_PLATFORM; empty where there is no window.
    bool forwards = true; ///< Whether it turns frames into datagrams.
};

/** A subject at work, from construction to destruction. */
class RunningSubject
{
public:
    /**
     * Starts @p subject at @p port and waits until it says that it is ready; ends the benchmark
     * when it does not. With @p counted valgrind counts its instructions.
     */
    RunningSubject(const Subject &subject, const QString &port, bool counted = false);
    ~RunningSubject();
    Q_DISABLE_COPY(RunningSubject)

    /** Nanoseconds of processor time that it has taken until now. */
    int64_t cpuTime();

    /** Resident memory in kilobytes; ends the benchmark when the subject has ended. */
    long memory() const;

    /** Nanoseconds from the start of the process until it was ready. */
    int64_t startTime() const { return m_startTime; }

    /** Ends it; returns the number of its instructions if they were counted, or 0. */
    int64_t stop();

private:
    QProcess m_process;
    QTemporaryFile m_count; ///< What valgrind writes.
    int64_t m_startTime = 0;
};
