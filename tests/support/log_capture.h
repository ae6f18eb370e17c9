#pragma once

#include <QByteArray>
#include <QList>

#include <cstdio>

/**
 * Collects what the debug log writes for as long as it lives, with the category
 * of ordinary lines enabled. Afterwards the log is off again.
 */
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    Q_DISABLE_COPY(LogCapture)

    /** Returns everything written so far, time stamps included. */
    QByteArray text() const;

    /** Returns the entries written so far without time stamps and line ends. */
    QList<QByteArray> messages() const;

private:
    FILE *m_stream;
    char *m_buffer = nullptr;
    size_t m_size = 0;
};
