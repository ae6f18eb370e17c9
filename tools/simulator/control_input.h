#pragma once

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>

/**
 * Gives the lines of standard input as they come. The end of the input and a
 * standard input that cannot be read are no errors: there are just no lines.
 */
class ControlInput : public QObject
{
    Q_OBJECT

public:
    explicit ControlInput(QObject *parent = nullptr);

signals:
    /** A line without its line feed; the last one may lack it in the input. */
    void lineRead(const QString &line);

private:
    void read();

    QSocketNotifier m_readable;
    QByteArray m_line;
};
