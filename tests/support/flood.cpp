#include "flood.h"

#include "simulated_device.h"
#include "zep_receiver.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

FloodingDevice::FloodingDevice(QSemaphore *room)
    : m_room(room)
{ }

FloodingDevice::~FloodingDevice()
{
    m_stop = true;
    m_room->release();
    if (m_thread.joinable())
        m_thread.join();
}

void FloodingDevice::start(int frames)
{
    if (m_thread.joinable())
        m_thread.join();
    m_thread = std::thread(&FloodingDevice::run, this, frames);
}

void FloodingDevice::run(int frames)
{
    for (int i = 0; i < frames && !m_stop; ++i) {
        const QByteArray record = Simulator::SimulatedDevice::frameRecord(m_frames.next());
        m_room->acquire();
        write(record);
        m_bytesSent += record.size();
        ++m_framesSent;
    }
}

void FloodingDevice::write(const QByteArray &bytes)
{
    int written = 0;
    while (written < bytes.size() && !m_stop) {
        const ssize_t count = ::write(m_line.deviceEnd(), bytes.constData() + written,
                                      static_cast<size_t>(bytes.size() - written));
        written += static_cast<int>(qMax<ssize_t>(count, 0));
        pollfd line = {m_line.deviceEnd(), POLLOUT, 0};
        if (count <= 0)
            ::poll(&line, 1, 100);
    }
}

FloodedAnalyser::FloodedAnalyser(QSemaphore *room)
    : m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    , m_room(room)
{
    const timeval patience = {0, 100000};
    ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(ZepReceiver::zepPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        qFatal("the port of the analyser is taken");
    m_thread = std::thread(&FloodedAnalyser::run, this);
}

FloodedAnalyser::~FloodedAnalyser()
{
    m_stop = true;
    m_thread.join();
    ::close(m_socket);
}

void FloodedAnalyser::run()
{
    char buffer[512];
    while (!m_stop) {
        const ssize_t size = ::recv(m_socket, buffer, sizeof buffer, 0);
        if (size <= 0)
            continue;
        if (!isExpected(QByteArray::fromRawData(buffer, static_cast<int>(size))))
            return;
        ++m_received;
        m_room->release();
    }
}

bool FloodedAnalyser::isExpected(const QByteArray &datagram)
{
    const quint32 gap = ZepReceiver::sequenceNumber(datagram) - m_nextSequenceNumber;
    if (gap > farthestAhead)
        return false;
    for (quint32 i = 0; i < gap; ++i)
        m_frames.next();
    m_missing += gap;
    m_nextSequenceNumber += gap + 1;
    const QByteArray frame = m_frames.next();
    if (frame.size() <= SeededFrames::smallestFrame)
        return datagram.size() == ZepReceiver::acknowledgementSize;
    return ZepReceiver::isData(datagram) && datagram.mid(ZepReceiver::dataHeaderSize) == frame;
}
