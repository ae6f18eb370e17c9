#include "capture_file.h"

#include <QDataStream>
#include <QFile>

void writeCapture(const QString &path, const QVector<QByteArray> &frames)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(path));
    QDataStream stream(&file);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << 0xA1B2C3D4U << quint16(2) << quint16(4) << 0 << 0U << 65535U << 195U;
    for (const QByteArray &frame : frames) {
        const auto size = static_cast<quint32>(frame.size());
        stream << 0U << 0U << size << size;
        stream.writeRawData(frame.constData(), frame.size());
    }
}
