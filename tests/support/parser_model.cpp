#include "parser_model.h"

#include <algorithm>

namespace {

enum State {
    WaitStart,
    WaitLength,
    ReadFrame,
    WaitEnd,
    MatchChannelTag,
    ReadChannel,
    MatchFail,
};

const QLatin1String tag("HAN: ");
const QLatin1String failure("fail!");
const QLatin1String prompt("[vostrel]");

bool isStart(QLatin1String whole, const QString &text, char next)
{
    return text.size() < whole.size() && whole.startsWith(text)
        && whole.at(text.size()) == QLatin1Char(next);
}

bool isAll(QLatin1String whole, const QString &text, char last)
{
    return text.size() + 1 == whole.size() && isStart(whole, text, last);
}

QByteArray bigEndian(quint32 number)
{
    QByteArray bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.append(static_cast<char>(number >> shift));
    return bytes;
}

} // namespace

struct ParserModel::Row
{
    const char *name;
    State from;
    bool (ParserModel::*applies)(char) const;
    void (ParserModel::*act)(char);
    State to;
};

// The first row that applies is taken. Its state is entered before it acts.
const std::array<ParserModel::Row, 18> ParserModel::table = {{
    {"wait-start-start-byte", WaitStart, &ParserModel::startsRecord, &ParserModel::ignore,
     WaitLength},
    {"wait-start-tag", WaitStart, &ParserModel::startsTag, &ParserModel::extendTag,
     MatchChannelTag},
    {"wait-start-failure", WaitStart, &ParserModel::startsFailure, &ParserModel::extendFailure,
     MatchFail},
    {"wait-start-other", WaitStart, &ParserModel::always, &ParserModel::ignore, WaitStart},
    {"wait-length", WaitLength, &ParserModel::always, &ParserModel::takeLength, ReadFrame},
    {"read-frame-empty-record", ReadFrame, &ParserModel::isOnlyByteOfEmptyRecord,
     &ParserModel::store, WaitEnd},
    {"read-frame-last-byte", ReadFrame, &ParserModel::isLastByteOfRecord, &ParserModel::store,
     WaitEnd},
    {"read-frame-earlier-byte", ReadFrame, &ParserModel::always, &ParserModel::store, ReadFrame},
    {"wait-end-end-byte", WaitEnd, &ParserModel::endsRecord, &ParserModel::forward, WaitStart},
    {"wait-end-other", WaitEnd, &ParserModel::always, &ParserModel::ignore, WaitEnd},
    {"match-channel-tag-complete", MatchChannelTag, &ParserModel::completesTag,
     &ParserModel::extendTag, ReadChannel},
    {"match-channel-tag-next", MatchChannelTag, &ParserModel::continuesTag, &ParserModel::extendTag,
     MatchChannelTag},
    {"match-channel-tag-other", MatchChannelTag, &ParserModel::always, &ParserModel::dropTag,
     WaitStart},
    {"read-channel-first-and-second-byte", ReadChannel, &ParserModel::isDigitPlace,
     &ParserModel::takeDigit, ReadChannel},
    {"read-channel-third-byte", ReadChannel, &ParserModel::always, &ParserModel::reportChannel,
     WaitStart},
    {"match-fail-complete", MatchFail, &ParserModel::completesFailure, &ParserModel::giveUp,
     WaitStart},
    {"match-fail-next", MatchFail, &ParserModel::continuesFailure, &ParserModel::extendFailure,
     MatchFail},
    {"match-fail-other", MatchFail, &ParserModel::always, &ParserModel::dropFailure, WaitStart},
}};

QList<QByteArray> ParserModel::rowNames()
{
    QList<QByteArray> names;
    for (const Row &row : table)
        names.append(row.name);
    return names << "any-prompt"
                 << "any-close";
}

ParserModel::ParserModel(quint32 sequenceNumber)
    : m_sequenceNumber(sequenceNumber)
{ }

void ParserModel::open(const QByteArray &portName)
{
    m_state.isOpen = true;
    logLine("Connected to " + portName + '\n');
    command("\nidle\n");
    command("\nparms\n");
    m_state.packetCount = 0;
    logLine("Test A\n");
    m_probe = ++m_lastProbe;
    m_runningProbes.append(m_probe);
    m_state.hasProbe = true;
    m_state.runningProbes = m_runningProbes.size();
    logLine("Test B\n");
}

void ParserModel::close()
{
    if (!m_state.isOpen)
        return;
    m_taken.set(closeRow);
    command("\nidle\n");
    m_state.isOpen = false;
    logLine("Disconnected\n");
    m_state.rxState = WaitStart;
}

void ParserModel::breakLine(const QByteArray &reason)
{
    logLine("Critical Error: " + reason + '\n');
    close();
    emitSignal("disconnectGui");
}

void ParserModel::endProbes()
{
    const int probes = m_runningProbes.size();
    m_runningProbes.clear();
    m_state.runningProbes = 0;
    for (int i = 0; i < probes; ++i) {
        close();
        requestFirmwarePage();
    }
}

void ParserModel::selectChannel(int channel)
{
    if (!m_state.isOpen)
        return;
    command("\nchan " + QByteArray::number(channel) + '\n');
    m_state.channel = static_cast<quint8>(channel);
}

void ParserModel::read(const QByteArray &bytes)
{
    m_trace.clear();
    for (const char c : bytes) {
        if (!m_state.isOpen)
            break;
        watchPrompt(c);
        take(c);
    }
    if (surroundings.hearsTrace)
        m_events.append({LinkEvent::Trace, m_trace});
}

void ParserModel::take(char c)
{
    for (const Row &row : table) {
        if (row.from != m_state.rxState || !(this->*row.applies)(c))
            continue;
        m_taken.set(static_cast<size_t>(&row - table.data()));
        m_state.rxState = row.to;
        (this->*row.act)(c);
        return;
    }
}

void ParserModel::watchPrompt(char c)
{
    if (!isAll(prompt, m_state.promptLine, c)) {
        const bool continues = isStart(prompt, m_state.promptLine, c);
        m_state.promptLine = continues ? m_state.promptLine + QLatin1Char(c) : QString();
        return;
    }
    m_taken.set(promptRow);
    logLine("[warning] watchdog\n");
    m_state.promptLine.clear();
    m_state.rxState = WaitStart;
    command("\nidle\n");
    command("\nsniff\n");
}

bool ParserModel::always(char /*c*/) const
{
    return true;
}

bool ParserModel::startsRecord(char c) const
{
    return c == 0x01;
}

bool ParserModel::startsTag(char c) const
{
    return c == 'H';
}

bool ParserModel::startsFailure(char c) const
{
    return c == 'f';
}

bool ParserModel::isOnlyByteOfEmptyRecord(char /*c*/) const
{
    return m_state.frameLength == 0;
}

bool ParserModel::isLastByteOfRecord(char /*c*/) const
{
    return m_state.frameIndex + 1 == m_state.frameLength;
}

bool ParserModel::endsRecord(char c) const
{
    return c == 0x04;
}

bool ParserModel::completesTag(char c) const
{
    return isAll(tag, m_state.hanLine, c);
}

bool ParserModel::continuesTag(char c) const
{
    return isStart(tag, m_state.hanLine, c);
}

bool ParserModel::isDigitPlace(char /*c*/) const
{
    return m_state.channelText.size() < 2;
}

bool ParserModel::completesFailure(char c) const
{
    return isAll(failure, m_state.failLine, c);
}

bool ParserModel::continuesFailure(char c) const
{
    return isStart(failure, m_state.failLine, c);
}

void ParserModel::ignore(char /*c*/)
{ }

void ParserModel::takeLength(char c)
{
    m_state.frameLength = static_cast<quint8>(c);
    m_state.frameIndex = 0;
}

void ParserModel::store(char c)
{
    m_state.frameBuffer[m_state.frameIndex] = static_cast<quint8>(c);
    ++m_state.frameIndex;
}

void ParserModel::forward(char /*c*/)
{
    const QByteArray record(reinterpret_cast<const char *>(m_state.frameBuffer.data()),
                            m_state.frameLength);
    if (!m_trace.isEmpty())
        m_trace += ' ';
    m_trace += "len:  " + QByteArray::number(m_state.frameLength) + " send:  \"" + record.toHex()
        + "\" \n";
    send(record);
}

void ParserModel::extendTag(char c)
{
    m_state.hanLine += QLatin1Char(c);
}

void ParserModel::dropTag(char /*c*/)
{
    m_state.hanLine.clear();
}

void ParserModel::takeDigit(char c)
{
    confirmFirmware();
    m_state.channelText += QLatin1Char(c);
}

void ParserModel::reportChannel(char /*c*/)
{
    confirmFirmware();
    emitSignal("updateChannelGui " + m_state.channelText.toUtf8());
    bool isNumber = false;
    const int number = m_state.channelText.toInt(&isNumber, 10);
    m_state.channel = isNumber ? static_cast<quint8>(number) : 11;
    if (!m_trace.isEmpty())
        m_trace += ' ';
    m_trace += "set channel:  " + QByteArray::number(m_state.channel);
    m_state.hanLine.clear();
    m_state.channelText.clear();
}

void ParserModel::extendFailure(char c)
{
    m_state.failLine += QLatin1Char(c);
}

void ParserModel::dropFailure(char /*c*/)
{
    m_state.failLine.clear();
}

void ParserModel::giveUp(char /*c*/)
{
    m_state.failLine.clear();
    close();
    logLine("number of Devices: " + QByteArray::number(surroundings.numberOfDevices) + '\n');
    logLine("available COM ports size: "
            + QByteArray::number(static_cast<qulonglong>(surroundings.ports.size())) + '\n');
    requestFirmwarePage();
}

void ParserModel::confirmFirmware()
{
    m_runningProbes.removeOne(m_probe);
    m_state.runningProbes = m_runningProbes.size();
    m_probe = 0;
    m_state.hasProbe = false;
}

void ParserModel::requestFirmwarePage()
{
    const auto &ports = surroundings.ports;
    const bool hasBoard =
        std::find(ports.begin(), ports.end(), QLatin1String("/dev/ttyS0")) != ports.end();
    const int devices = surroundings.numberOfDevices;
    const bool isClear = devices == 1 || (devices == 2 && hasBoard);
    emitSignal(isClear ? "showFwUpdatePage" : "showFwUpdatePageTooManyDevices");
}

void ParserModel::send(const QByteArray &record)
{
    const QByteArray payload = record.mid(8);
    const qint64 now = surroundings.readClock();
    m_state.frameLength = static_cast<quint8>(payload.size());
    const QByteArray datagram = payload.size() > 5 ? dataDatagram(payload, now) : acknowledgement();
    if (surroundings.refusesDatagrams) {
        logLine("ZEP Error: Unknown error\n");
        return;
    }
    m_events.append({LinkEvent::Datagram, datagram});
    ++m_state.packetCount;
    emitSignal("showPacketCount " + QByteArray::number(m_state.packetCount));
}

QByteArray ParserModel::dataDatagram(const QByteArray &payload, qint64 microseconds)
{
    constexpr qint64 from1900To1970 = 2208988800;
    const auto seconds = static_cast<quint32>(microseconds / 1'000'000 + from1900To1970);
    const auto ofSecond = static_cast<double>(microseconds % 1'000'000 + 1);
    const double fraction = std::min(ofSecond * 4294967296.0 * 1e-6, 4294967295.0);
    return QByteArray("EX\2\1") + static_cast<char>(m_state.channel) + QByteArray(4, '\0')
        + bigEndian(seconds) + bigEndian(static_cast<quint32>(fraction))
        + bigEndian(m_sequenceNumber++) + QByteArray(10, '\0') + static_cast<char>(payload.size())
        + payload;
}

QByteArray ParserModel::acknowledgement()
{
    return QByteArray("EX\2\2") + bigEndian(m_sequenceNumber++);
}
