#pragma once

#include "link_record.h"

#include <QList>

#include <bitset>

/**
 * The link to a device told a second time, its parser as a table of states. Shares nothing with
 * the program, so that the two can be held against each other.
 */
class ParserModel
{
public:
    /** @p sequenceNumber is the one that the next datagram carries. */
    explicit ParserModel(quint32 sequenceNumber)
        : m_sequenceNumber(sequenceNumber)
    { }

    Surroundings surroundings;

    void open(const QByteArray &portName);
    void close();
    void breakLine(const QByteArray &reason);
    /** The time of every probe that still runs is over. */
    void endProbes();
    void selectChannel(int channel);
    void read(const QByteArray &bytes);

    const LinkState &state() const { return m_state; }
    const QVector<LinkEvent> &events() const { return m_events; }
    void forgetEvents() { m_events.clear(); }
    quint32 sequenceNumber() const { return m_sequenceNumber; }

    /** The rows of the table of states, by name and in order. */
    static QList<QByteArray> rowNames();
    bool hasTaken(int row) const { return m_taken[static_cast<size_t>(row)]; }

private:
    struct Row;
    static const std::array<Row, 18> table;
    static constexpr size_t promptRow = 18;
    static constexpr size_t closeRow = 19;

    void take(char c);
    void watchPrompt(char c);
    void forward();
    void reportChannel();
    void giveUp();
    void confirmFirmware();
    void requestFirmwarePage();
    void send(const QByteArray &record);
    void trace(const QByteArray &text);
    void command(const QByteArray &text) { m_events.append({LinkEvent::Command, text}); }
    void emitSignal(const QByteArray &text) { m_events.append({LinkEvent::Signal, text}); }
    void logLine(const QByteArray &text) { m_events.append({LinkEvent::LogLine, text}); }

    LinkState m_state;
    QVector<LinkEvent> m_events;
    QByteArray m_trace;
    QVector<int> m_runningProbes;
    int m_probe = 0; ///< The one that is remembered; they count from 1.
    int m_lastProbe = 0;
    quint32 m_sequenceNumber;
    std::bitset<20> m_taken;
};
