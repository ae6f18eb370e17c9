#pragma once

#include "parser_model.h"
#include "scripted_link.h"

/**
 * Leads the program's link and its model through the same script and compares them after every
 * step. A script is what the device sends, with a backslash before what else happens:
 *
 *     \|  a read ends                  \\  the device sends a backslash
 *     \o  the port is opened           \c  the port is closed
 *     \x  the line breaks              \p  the time of the probes is over
 *     \u  the network is unreachable   \r  it is reachable again
 *     \d  nobody hears the trace        \h  somebody does again
 *     \0 to \3  that many devices are found, \4 to \7 with the board among them
 *     \kC  the user selects the channel C, a byte
 *
 * The port is open at the beginning; any other byte after a backslash only ends the read.
 */
class ParserCheck
{
public:
    explicit ParserCheck(QByteArray script);

    /** Runs the script up to the first disagreement and describes it; empty without one. */
    QByteArray run();

    const ParserModel &model() const { return m_model; }

private:
    void interpret();
    void happen(char what);
    template<typename Step>
    void both(Step step, const char *description);
    void read();
    void open();
    void selectChannel();
    void surround(char what);
    void compare(const char *step);

    const QByteArray m_script;
    int m_position = 0;
    QByteArray m_pending;
    ScriptedLink m_link;
    ParserModel m_model;
    QByteArray m_disagreement;

    static quint32 nextSequenceNumber;
};
