#pragma once

#include "frame_check_sequence.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <optional>

namespace Simulator {

/**
 * Radio frames to replay, each with the two bytes of its check sequence at the
 * end. A plain value; never holds a frame longer than 127 bytes unless
 * fromFrames() was given one.
 */
class Traffic
{
public:
    /** The largest frame of IEEE 802.15.4 in bytes, check sequence included. */
    static constexpr int largestFrame = 127;

    /** A short life of a ZigBee network: joining, data, commands, acknowledgements. */
    static Traffic builtIn();

    /** The given frames, unchecked and unchanged, check sequences included. */
    static Traffic fromFrames(const QVector<QByteArray> &frames) { return Traffic(frames); }

    /**
     * The frames of a pcap or pcapng capture of link type 195 (with check
     * sequence) or 230 (without; it is appended). Without a value, error tells
     * in one line what is wrong with the file.
     */
    static std::optional<Traffic> fromPcap(const QString &path, QString *error);

    const QVector<QByteArray> &frames() const { return m_frames; }

private:
    explicit Traffic(const QVector<QByteArray> &frames)
        : m_frames(frames)
    { }

    QVector<QByteArray> m_frames;
};

} // namespace Simulator
