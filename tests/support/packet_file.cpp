#include "packet_file.h"

#include <QDataStream>
#include <QHostAddress>

namespace {

constexpr quint16 analyserPort = 17754;

template<QDataStream::ByteOrder order = QDataStream::BigEndian, typename... Fields>
QByteArray bytesOf(Fields... fields)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(order);
    (stream << ... << fields);
    return bytes;
}

quint32 number(const QByteArray &address)
{
    return QHostAddress(QString::fromLatin1(address)).toIPv4Address();
}

quint16 size16(const QByteArray &bytes)
{
    return static_cast<quint16>(bytes.size());
}

/** IPv4 without options, its checksum left out as by a network card that computes it later. */
QByteArray ipPacket(quint8 protocol, const QByteArray &source, const QByteArray &content)
{
    constexpr int headerSize = 20;
    return bytesOf(quint16(0x4500), static_cast<quint16>(headerSize + content.size()), quint16(0),
                   quint16(0x4000), quint8(64), protocol, quint16(0), number(source),
                   number("127.0.0.1"))
        + content;
}

QByteArray udpPacket(const PacketFile::Source &source, quint16 port, const QByteArray &datagram)
{
    constexpr int headerSize = 8;
    const auto size = static_cast<quint16>(headerSize + datagram.size());
    return ipPacket(17, source.address, bytesOf(source.port, port, size, quint16(0)) + datagram);
}

QByteArray tag(quint16 kind, const QByteArray &value)
{
    return bytesOf(kind, size16(value)) + value;
}

/** The tags that the listener puts before a datagram: dissector, addresses, ports. */
QByteArray listenerPacket(const PacketFile::Source &source, const QByteArray &datagram)
{
    constexpr char dissector[] = {'f', 'e', 'n', 'n', 'i', 'x', '\0', '\0'};
    return tag(12, QByteArray(dissector, sizeof dissector))
        + tag(20, bytesOf(number(source.address))) + tag(21, bytesOf(number("127.0.0.1")))
        + tag(25, bytesOf(quint32(source.port))) + tag(26, bytesOf(quint32(analyserPort)))
        + tag(0, {}) + datagram;
}

} // namespace

QByteArray Zep::data(quint32 number, const QByteArray &frame, int channel, const Time &time)
{
    constexpr int reserved = 10;
    return "EX\2\1" + bytesOf(static_cast<quint8>(channel), quint16(0), quint8(0), quint8(0))
        + bytesOf(time.seconds, time.fraction, number) + QByteArray(reserved, '\0')
        + bytesOf(static_cast<quint8>(frame.size())) + frame;
}

QByteArray Zep::acknowledgement(quint32 number)
{
    return "EX\2\2" + bytesOf(number);
}

PacketFile::PacketFile(const QString &path, From from)
    : m_from(from)
    , m_file(path)
{
    constexpr quint32 rawIp = 101;
    constexpr quint32 exportedPdu = 252;
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        qFatal("cannot write %s", qPrintable(path));
    m_file.write(bytesOf<QDataStream::LittleEndian>(0xA1B2C3D4U, quint16(2), quint16(4), 0, 0U,
                                                    65535U,
                                                    from == From::Network ? rawIp : exportedPdu));
}

void PacketFile::add(const QByteArray &datagram, const Source &source, quint16 destinationPort)
{
    const QByteArray packet = m_from == From::Network ? udpPacket(source, destinationPort, datagram)
                                                      : listenerPacket(source, datagram);
    write(packet, packet.size());
}

void PacketFile::addUnreachable(const QByteArray &datagram, const Source &source)
{
    const QByteArray packet = ipPacket(1, source.address,
                                       bytesOf(quint8(3), quint8(3), quint16(0), 0U)
                                           + udpPacket(source, analyserPort, datagram));
    write(packet, packet.size());
}

void PacketFile::addCut(const QByteArray &datagram, int size, const Source &source)
{
    const QByteArray packet = udpPacket(source, analyserPort, datagram);
    write(packet, packet.size() - datagram.size() + size);
}

void PacketFile::write(const QByteArray &packet, int captured)
{
    m_file.write(bytesOf<QDataStream::LittleEndian>(m_seconds++, 0U, static_cast<quint32>(captured),
                                                    static_cast<quint32>(packet.size())));
    m_file.write(packet.left(captured));
}
