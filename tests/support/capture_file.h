#pragma once

#include <QByteArray>
#include <QVector>

class QString;

/** Writes @p frames as a capture file of IEEE 802.15.4 frames with check sequences. */
void writeCapture(const QString &path, const QVector<QByteArray> &frames);
