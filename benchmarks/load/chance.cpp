#include "chance.h"

#include "traffic.h"

QByteArray Chance::bytes(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    m_random.generate(bytes.begin(), bytes.end());
    return bytes;
}

QByteArray Chance::frame()
{
    return bytes(number(smallestFrame, Simulator::Traffic::largestFrame));
}
