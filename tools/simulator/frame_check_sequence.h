#pragma once

#include <QByteArray>

namespace Simulator {

/** The ITU-T CRC-16 of IEEE 802.15.4 over a frame without its check sequence. */
quint16 frameCheckSequence(const QByteArray &frame);

/** The frame followed by its check sequence, low byte first, as the radio sends it. */
QByteArray withFrameCheckSequence(const QByteArray &frame);

} // namespace Simulator
