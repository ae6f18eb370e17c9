#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include <array>
#include <vector>

/** Something that a link to a device does and others notice. */
struct LinkEvent
{
    enum Kind { Command, Datagram, Signal, LogLine, Trace };

    Kind kind;
    QByteArray content;
};
Q_DECLARE_TYPEINFO(LinkEvent, Q_MOVABLE_TYPE);

/** Everything that a link remembers from one read to the next. */
struct LinkState
{
    bool isOpen = false;
    bool hasProbe = false; ///< A probe is remembered, whether it still runs or not.
    int runningProbes = 0;
    quint32 packetCount = 0;
    QString hanLine;
    QString channelText;
    quint8 channel = 11;
    QString failLine;
    QString promptLine;
    qint32 rxState = 0;
    quint8 frameLength = 0;
    quint8 frameIndex = 0;
    std::array<quint8, 1024> frameBuffer = {};
};

/** What a link finds around itself. */
struct Surroundings
{
    /** Reads the clock, which goes on by a third of a second with every reading. */
    qint64 readClock();

    int numberOfDevices = 1;
    std::vector<QString> ports = {QStringLiteral("/dev/ttyUSB0")};
    bool refusesDatagrams = false;
    bool hearsTrace = true;
    qint64 microseconds = 1'700'000'000'000'000; ///< Since 1970.
};

bool operator==(const LinkEvent &left, const LinkEvent &right);
bool operator==(const LinkState &left, const LinkState &right);

/** Text for a person, in hexadecimal where the content is binary. */
QByteArray describe(const QVector<LinkEvent> &events);
QByteArray describe(const LinkState &state);
