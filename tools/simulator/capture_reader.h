#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include <optional>

namespace Simulator {

/**
 * Reads a pcap or pcapng capture of IEEE 802.15.4 frames and gives each frame with
 * its check sequence. Without a value, error holds one line that names the file.
 */
std::optional<QVector<QByteArray>> readCapture(const QString &path, QString *error);

} // namespace Simulator
