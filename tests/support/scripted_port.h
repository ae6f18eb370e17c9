#pragma once

#include <QByteArray>
#include <QSerialPort>

/**
 * A serial port without a device behind it: gives what a test puts in, keeps what is written to
 * it. Opens and closes without the system's help, many thousand times in a second.
 */
class ScriptedPort : public QSerialPort
{
    Q_OBJECT

public:
    bool open(OpenMode mode) override;
    void close() override;
    qint64 bytesAvailable() const override;

    /** Delivers @p bytes at once, as one read; a closed port loses them. */
    void deliver(const QByteArray &bytes);

    /** Reports an error that the system calls @p reason. */
    void breakLine(const QString &reason);

signals:
    void written(const QByteArray &bytes);

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    QByteArray m_incoming;
};
