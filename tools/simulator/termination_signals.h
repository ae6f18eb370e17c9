#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <memory>

/**
 * Turns SIGINT and SIGTERM, which would end the process, into a Qt signal. One
 * object at a time; processes started meanwhile keep the default behaviour.
 */
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

signals:
    void caught(int signalNumber);

private:
    void read();

    std::unique_ptr<QSocketNotifier> m_readable;
};
