#include "link_record.h"

#include <QTextStream>

#include <tuple>

namespace {

auto fields(const LinkState &state)
{
    return std::tie(state.isOpen, state.hasProbe, state.runningProbes, state.packetCount,
                    state.hanLine, state.channelText, state.channel, state.failLine,
                    state.promptLine, state.rxState, state.frameLength, state.frameIndex,
                    state.frameBuffer);
}

} // namespace

qint64 Surroundings::readClock()
{
    // From a full second on, every fourth reading falls on the last microsecond of one.
    const qint64 now = microseconds;
    microseconds += 333'333;
    return now;
}

bool operator==(const LinkEvent &left, const LinkEvent &right)
{
    return left.kind == right.kind && left.content == right.content;
}

bool operator==(const LinkState &left, const LinkState &right)
{
    return fields(left) == fields(right);
}

QByteArray describe(const QVector<LinkEvent> &events)
{
    static const char *const kinds[] = {"command", "datagram", "signal", "log", "trace"};
    QByteArray lines;
    for (const LinkEvent &event : events) {
        const bool binary = event.kind == LinkEvent::Datagram;
        QByteArray content = binary ? event.content.toHex() : event.content;
        lines += QByteArray("  ") + kinds[event.kind] + ' ' + content.replace('\n', "\\n") + '\n';
    }
    return lines;
}

QByteArray describe(const LinkState &state)
{
    const auto hex = [](const QString &text) { return text.toUtf8().toHex(); };
    const QByteArray stored(reinterpret_cast<const char *>(state.frameBuffer.data()), 256);
    QByteArray text;
    QTextStream(&text) << "  open " << state.isOpen << " probe " << state.hasProbe << " running "
                       << state.runningProbes << " packets " << state.packetCount << " channel "
                       << state.channel << "\n  state " << state.rxState << " tag "
                       << hex(state.hanLine) << " digits " << hex(state.channelText) << " fail "
                       << hex(state.failLine) << " prompt " << hex(state.promptLine) << "\n  frame "
                       << state.frameIndex << " of " << state.frameLength << ' ' << stored.toHex()
                       << '\n';
    return text;
}
