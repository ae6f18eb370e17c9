#pragma once

#include <QByteArray>
#include <QRandomGenerator>

/**
 * Radio frames of every size that there is, in a mix that chance decides: from the same seed,
 * the same ones.
 */
class SeededFrames
{
public:
    static constexpr int smallestFrame = 5;

    explicit SeededFrames(quint32 seed);

    QByteArray next();

private:
    QRandomGenerator m_random;
};
