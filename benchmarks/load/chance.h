#pragma once

#include <QByteArray>
#include <QRandomGenerator>

/** Numbers, bytes and radio frames at random: from the same seed, always the same ones. */
class Chance
{
public:
    static constexpr int smallestFrame = 5;

    explicit Chance(quint32 seed)
        : m_random(seed)
    { }

    /** Returns a number between @p lowest and @p highest, both included. */
    int number(int lowest, int highest) { return m_random.bounded(lowest, highest + 1); }

    QByteArray bytes(int size);

    /** Returns a radio frame of any size that there is. */
    QByteArray frame();

private:
    QRandomGenerator m_random;
};
