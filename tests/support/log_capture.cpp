#include "log_capture.h"

#include "debug_log.h"

#include <cstdlib>

LogCapture::LogCapture()
    : m_stream(open_memstream(&m_buffer, &m_size))
{
    DBG_Init(m_stream);
    DBG_Enable(DBG_GENERAL);
}

LogCapture::~LogCapture()
{
    DBG_Init(nullptr);
    fclose(m_stream);
    free(m_buffer);
}

QByteArray LogCapture::text() const
{
    fflush(m_stream);
    return {m_buffer, static_cast<int>(m_size)};
}

QList<QByteArray> LogCapture::messages() const
{
    const int stampLength = static_cast<int>(qstrlen("14:03:07:042 "));
    QList<QByteArray> messages;
    const QList<QByteArray> lines = text().split('\n');
    for (const QByteArray &line : lines) {
        if (!line.isEmpty())
            messages.append(line.mid(stampLength));
    }
    return messages;
}
