#include "parser_check.h"

#include <utility>

namespace {

constexpr char portName[] = "/dev/ttyUSB0";

} // namespace

// The program counts datagrams from its start on, through all connections.
quint32 ParserCheck::nextSequenceNumber = 1;

ParserCheck::ParserCheck(QByteArray script)
    : m_script(std::move(script))
    , m_model(nextSequenceNumber)
{ }

QByteArray ParserCheck::run()
{
    open();
    interpret();
    nextSequenceNumber = m_model.sequenceNumber();
    return m_disagreement;
}

void ParserCheck::interpret()
{
    while (m_disagreement.isEmpty() && m_position < m_script.size()) {
        const char c = m_script[m_position++];
        if (c != '\\' || m_position == m_script.size())
            m_pending.append(c);
        else
            happen(m_script[m_position++]);
    }
    if (m_disagreement.isEmpty() && !m_pending.isEmpty())
        read();
}

void ParserCheck::happen(char what)
{
    if (what == '\\') {
        m_pending.append(what);
        return;
    }
    read();
    switch (what) {
    case 'o':
        open();
        break;
    case 'c':
        both([](auto &link) { link.close(); }, "the port was closed");
        break;
    case 'x':
        both([](auto &link) { link.breakLine("Resource unavailable"); }, "the line broke");
        break;
    case 'p':
        both([](auto &link) { link.endProbes(); }, "the time of the probes was over");
        break;
    case 'k':
        selectChannel();
        break;
    default:
        surround(what);
    }
}

/** Lets the program's link and the model do the same, and compares them. */
template<typename Step>
void ParserCheck::both(Step step, const char *description)
{
    step(m_link);
    step(m_model);
    compare(description);
}

void ParserCheck::read()
{
    both([this](auto &link) { link.read(m_pending); }, "a read ended");
    m_pending.clear();
}

void ParserCheck::open()
{
    // Opened twice at once, a port reports an error, which is the port's affair.
    if (!m_model.state().isOpen)
        both([](auto &link) { link.open(portName); }, "the port was opened");
}

void ParserCheck::selectChannel()
{
    if (m_position == m_script.size())
        return;
    const int channel = static_cast<quint8>(m_script[m_position++]);
    both([=](auto &link) { link.selectChannel(channel); }, "a channel was selected");
}

void ParserCheck::surround(char what)
{
    for (Surroundings *surroundings : {&m_link.surroundings, &m_model.surroundings}) {
        if (what == 'u' || what == 'r') {
            surroundings->refusesDatagrams = what == 'u';
        } else if (what == 'd' || what == 'h') {
            surroundings->hearsTrace = what == 'h';
        } else if (what >= '0' && what <= '7') {
            surroundings->numberOfDevices = (what - '0') % 4;
            surroundings->ports = {portName};
            if (what >= '4')
                surroundings->ports.emplace_back("/dev/ttyS0");
        }
    }
}

void ParserCheck::compare(const char *step)
{
    const LinkState state = m_link.state();
    const bool agree =
        m_link.events() == m_model.events() && state == m_model.state() && m_link.unread() == 0;
    if (!agree && m_disagreement.isEmpty())
        m_disagreement = QByteArray("At byte ") + QByteArray::number(m_position) + " of the script "
            + step + ".\nThe program:\n" + describe(m_link.events()) + describe(state) + "  unread "
            + QByteArray::number(m_link.unread()) + "\nThe model:\n" + describe(m_model.events())
            + describe(m_model.state());
    m_link.forgetEvents();
    m_model.forgetEvents();
}
