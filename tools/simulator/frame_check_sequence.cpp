#include "frame_check_sequence.h"

namespace Simulator {

quint16 frameCheckSequence(const QByteArray &frame)
{
    // x^16 + x^12 + x^5 + 1 with its bits reversed: the radio sends the lowest bit first.
    constexpr unsigned polynomial = 0x8408;

    unsigned remainder = 0;
    for (const char byte : frame) {
        remainder ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            remainder = (remainder & 1U) != 0 ? (remainder >> 1U) ^ polynomial : remainder >> 1U;
    }
    return static_cast<quint16>(remainder);
}

QByteArray withFrameCheckSequence(const QByteArray &frame)
{
    const quint16 sequence = frameCheckSequence(frame);
    return frame + static_cast<char>(sequence & 0xFF) + static_cast<char>(sequence >> 8);
}

} // namespace Simulator
