#include "control_input.h"

#include <unistd.h>

ControlInput::ControlInput(QObject *parent)
    : QObject(parent)
    , m_readable(STDIN_FILENO, QSocketNotifier::Read)
{
    connect(&m_readable, &QSocketNotifier::activated, this, &ControlInput::read);
}

void ControlInput::read()
{
    char buffer[1024];
    const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (count <= 0) {
        m_readable.setEnabled(false);
        m_line.append('\n');
    } else {
        m_line.append(buffer, static_cast<int>(count));
    }
    for (int end = m_line.indexOf('\n'); end >= 0; end = m_line.indexOf('\n')) {
        const QString line = QString::fromLocal8Bit(m_line.left(end)).trimmed();
        m_line.remove(0, end + 1);
        if (!line.isEmpty())
            emit lineRead(line);
    }
}
