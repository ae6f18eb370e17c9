#include "parser_model.h"

#include "packet_file.h"

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

// Conditions of the rows.

const auto always = [](const LinkState &, char) { return true; };
const auto startsRecord = [](const LinkState &, char c) { return c == 0x01; };
const auto startsTag = [](const LinkState &, char c) { return c == 'H'; };
const auto startsFailure = [](const LinkState &, char c) { return c == 'f'; };
const auto endsRecord = [](const LinkState &, char c) { return c == 0x04; };
const auto isOnlyByteOfEmptyRecord = [](const LinkState &state, char) {
    return state.frameLength == 0;
};
const auto isLastByteOfRecord = [](const LinkState &state, char) {
    return state.frameIndex + 1 == state.frameLength;
};
const auto completesTag = [](const LinkState &state, char c) {
    return isAll(tag, state.hanLine, c);
};
const auto continuesTag = [](const LinkState &state, char c) {
    return isStart(tag, state.hanLine, c);
};
const auto isDigitPlace = [](const LinkState &state, char) { return state.channelText.size() < 2; };
const auto completesFailure = [](const LinkState &state, char c) {
    return isAll(failure, state.failLine, c);
};
const auto continuesFailure = [](const LinkState &state, char c) {
    return isStart(failure, state.failLine, c);
};

// What the rows keep of a byte.

const auto nothing = [](LinkState *, char) {};
const auto takeLength = [](LinkState *state, char c) {
    state->frameLength = static_cast<quint8>(c);
    state->frameIndex = 0;
};
const auto store = [](LinkState *state, char c) {
    state->frameBuffer[state->frameIndex++] = static_cast<quint8>(c);
};
const auto extendTag = [](LinkState *state, char c) { state->hanLine += QLatin1Char(c); };
const auto dropTag = [](LinkState *state, char) { state->hanLine.clear(); };
const auto takeDigit = [](LinkState *state, char c) { state->channelText += QLatin1Char(c); };
const auto extendFailure = [](LinkState *state, char c) { state->failLine += QLatin1Char(c); };
const auto dropFailure = [](LinkState *state, char) { state->failLine.clear(); };

} // namespace

struct ParserModel::Row
{
    const char *name;
    State from;
    bool (*applies)(const LinkState &state, char c);
    void (*keep)(LinkState *state, char c);
    void (ParserModel::*act)(); ///< Null where nothing else happens.
    State to;
};

// The first row that applies is taken. Its state is entered before it acts.
const std::array<ParserModel::Row, 18> ParserModel::table = {{
    {"wait-start-start-byte", WaitStart, startsRecord, nothing, nullptr, WaitLength},
    {"wait-start-tag", WaitStart, startsTag, extendTag, nullptr, MatchChannelTag},
    {"wait-start-failure", WaitStart, startsFailure, extendFailure, nullptr, MatchFail},
    {"wait-start-other", WaitStart, always, nothing, nullptr, WaitStart},
    {"wait-length", WaitLength, always, takeLength, nullptr, ReadFrame},
    {"read-frame-empty-record", ReadFrame, isOnlyByteOfEmptyRecord, store, nullptr, WaitEnd},
    {"read-frame-last-byte", ReadFrame, isLastByteOfRecord, store, nullptr, WaitEnd},
    {"read-frame-earlier-byte", ReadFrame, always, store, nullptr, ReadFrame},
    {"wait-end-end-byte", WaitEnd, endsRecord, nothing, &ParserModel::forward, WaitStart},
    {"wait-end-other", WaitEnd, always, nothing, nullptr, WaitEnd},
    {"match-channel-tag-complete", MatchChannelTag, completesTag, extendTag, nullptr, ReadChannel},
    {"match-channel-tag-next", MatchChannelTag, continuesTag, extendTag, nullptr, MatchChannelTag},
    {"match-channel-tag-other", MatchChannelTag, always, dropTag, nullptr, WaitStart},
    {"read-channel-first-and-second-byte", ReadChannel, isDigitPlace, takeDigit,
     &ParserModel::confirmFirmware, ReadChannel},
    {"read-channel-third-byte", ReadChannel, always, nothing, &ParserModel::reportChannel,
     WaitStart},
    {"match-fail-complete", MatchFail, completesFailure, dropFailure, &ParserModel::giveUp,
     WaitStart},
    {"match-fail-next", MatchFail, continuesFailure, extendFailure, nullptr, MatchFail},
    {"match-fail-other", MatchFail, always, dropFailure, nullptr, WaitStart},
}};

QList<QByteArray> ParserModel::rowNames()
{
    QList<QByteArray> names;
    for (const Row &row : table)
        names.append(row.name);
    return names << "any-prompt"
                 << "any-close";
}

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
        if (row.from != m_state.rxState || !row.applies(m_state, c))
            continue;
        m_taken.set(static_cast<size_t>(&row - table.data()));
        m_state.rxState = row.to;
        row.keep(&m_state, c);
        if (row.act != nullptr)
            (this->*row.act)();
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

void ParserModel::forward()
{
    const QByteArray record(reinterpret_cast<const char *>(m_state.frameBuffer.data()),
                            m_state.frameLength);
    trace("len:  " + QByteArray::number(m_state.frameLength) + " send:  \"" + record.toHex()
          + "\" \n");
    send(record);
}

void ParserModel::reportChannel()
{
    confirmFirmware();
    emitSignal("updateChannelGui " + m_state.channelText.toUtf8());
    bool isNumber = false;
    const int number = m_state.channelText.toInt(&isNumber, 10);
    m_state.channel = isNumber ? static_cast<quint8>(number) : 11;
    trace("set channel:  " + QByteArray::number(m_state.channel));
    m_state.hanLine.clear();
    m_state.channelText.clear();
}

void ParserModel::giveUp()
{
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
    constexpr qint64 from1900To1970 = 2208988800;
    const QByteArray payload = record.mid(8);
    const qint64 now = surroundings.readClock();
    const auto seconds = static_cast<quint32>(now / 1'000'000 + from1900To1970);
    const double fraction = static_cast<double>(now % 1'000'000 + 1) * 4294967296.0 * 1e-6;
    const auto ofSecond = static_cast<quint32>(std::min(fraction, 4294967295.0));
    m_state.frameLength = static_cast<quint8>(payload.size());
    const QByteArray datagram = payload.size() > 5
        ? Zep::data(m_sequenceNumber, payload, m_state.channel, {seconds, ofSecond})
        : Zep::acknowledgement(m_sequenceNumber);
    ++m_sequenceNumber;
    if (surroundings.refusesDatagrams) {
        logLine("ZEP Error: Unknown error\n");
        return;
    }
    m_events.append({LinkEvent::Datagram, datagram});
    ++m_state.packetCount;
    emitSignal("showPacketCount " + QByteArray::number(m_state.packetCount));
}

void ParserModel::trace(const QByteArray &text)
{
    if (!m_trace.isEmpty())
        m_trace += ' ';
    m_trace += text;
}
