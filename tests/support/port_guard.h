#pragma once

#include <QObject>
#include <QPointer>
#include <QSerialPort>
#include <QVector>

/**
 * Closes, at its end, the serial ports that have been opened in its time and are open still.
 *
 * A connection has no owner and lives on with its port after a function that has failed; when the
 * device behind it goes, the port would have something to report for ever.
 */
class PortGuard : public QObject
{
    Q_OBJECT

public:
    PortGuard();
    ~PortGuard() override;

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QVector<QPointer<QSerialPort>> m_ports;
};
