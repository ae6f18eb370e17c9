#include "scripted_port.h"

#include <algorithm>

bool ScriptedPort::open(OpenMode mode)
{
    setOpenMode(mode);
    return true;
}

void ScriptedPort::close()
{
    setOpenMode(NotOpen);
    m_incoming.clear();
}

qint64 ScriptedPort::bytesAvailable() const
{
    return m_incoming.size() + QSerialPort::bytesAvailable();
}

void ScriptedPort::deliver(const QByteArray &bytes)
{
    if (isOpen())
        m_incoming = bytes;
    emit readyRead();
}

void ScriptedPort::breakLine(const QString &reason)
{
    setErrorString(reason);
    QMetaObject::invokeMethod(this, "error",
                              Q_ARG(QSerialPort::SerialPortError, QSerialPort::ResourceError));
}

qint64 ScriptedPort::readData(char *data, qint64 maxSize)
{
    const auto size = static_cast<int>(std::min<qint64>(maxSize, m_incoming.size()));
    std::copy_n(m_incoming.constData(), size, data);
    m_incoming.remove(0, size);
    return size;
}

qint64 ScriptedPort::writeData(const char *data, qint64 size)
{
    emit written(QByteArray(data, static_cast<int>(size)));
    return size;
}
