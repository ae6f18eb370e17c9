#include "parser_check.h"

#include <utility>

namespace {

constexpr char portName[] = "/dev/ttyUSB0";
constexpr char reason[] = "Resource unavailable";

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
        m_link.close();
        m_model.close();
        compare("the port was closed");
        break;
    case 'x':
        m_link.breakLine(QString::fromLatin1(reason));
        m_model.breakLine(reason);
        compare("the line broke");
        break;
    case 'p':
        m_link.endProbes();
        m_model.endProbes();
        compare("the time of the probes was over");
        break;
    case 'u':
    case 'r':
        setRefusal(what == 'u');
        break;
    case 'd':
    case 'h':
        setHearing(what == 'h');
        break;
    case 'k':
        selectChannel();
        break;
    default:
        if (what >= '0' && what <= '7')
            find(what - '0');
    }
}

void ParserCheck::read()
{
    m_link.read(m_pending);
    m_model.read(m_pending);
    compare("a read ended");
    m_pending.clear();
}

void ParserCheck::open()
{
    // Opened twice at once, a port reports an error, which is the port's affair.
    if (m_model.state().isOpen)
        return;
    m_link.open(QString::fromLatin1(portName));
    m_model.open(portName);
    compare("the port was opened");
}

void ParserCheck::selectChannel()
{
    if (m_position == m_script.size())
        return;
    const int channel = static_cast<quint8>(m_script[m_position++]);
    m_link.selectChannel(channel);
    m_model.selectChannel(channel);
    compare("a channel was selected");
}

void ParserCheck::find(int code)
{
    Surroundings &surroundings = m_model.surroundings;
    surroundings.numberOfDevices = code % 4;
    surroundings.ports = {QString::fromLatin1(portName)};
    if (code >= 4)
        surroundings.ports.push_back(QStringLiteral("/dev/ttyS0"));
    m_link.find(surroundings.numberOfDevices, surroundings.ports);
}

void ParserCheck::setRefusal(bool refused)
{
    m_link.refuseDatagrams(refused);
    m_model.surroundings.refusesDatagrams = refused;
}

void ParserCheck::setHearing(bool heard)
{
    ScriptedLink::hearTrace(heard);
    m_model.surroundings.hearsTrace = heard;
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
