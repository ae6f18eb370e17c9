#include "seeded_frames.h"

#include "traffic.h"

#include <array>

using Simulator::Traffic;

SeededFrames::SeededFrames(quint32 seed)
    : m_random(seed)
{ }

QByteArray SeededFrames::next()
{
    std::array<quint32, Traffic::largestFrame / sizeof(quint32) + 1> noise {};
    m_random.fillRange(noise.data(), static_cast<qsizetype>(noise.size()));
    const int size = m_random.bounded(smallestFrame, Traffic::largestFrame + 1);
    return {reinterpret_cast<const char *>(noise.data()), size};
}
