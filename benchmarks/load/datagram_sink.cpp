#include "datagram_sink.h"

#include "../clock.h"
#include "../zep_port.h"

#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int bindSocket()
{
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const timeval patience = {0, 100000};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(zepPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0)
        qFatal("port %d of the local host is taken", zepPort);
    return socket;
}

} // namespace

DatagramSink::DatagramSink(int timed, std::function<bool(const QByteArray &)> accepts)
    : m_socket(bindSocket())
    , m_timed(static_cast<size_t>(timed))
    , m_accepts(std::move(accepts))
{
    m_receiveTimes.reserve(m_timed);
    m_thread = std::thread(&DatagramSink::run, this);
}

DatagramSink::~DatagramSink()
{
    finish();
    close(m_socket);
}

void DatagramSink::finish()
{
    m_stop = true;
    if (m_thread.joinable())
        m_thread.join();
}

void DatagramSink::run()
{
    char datagram[512];
    while (!m_stop) {
        const ssize_t size = recv(m_socket, datagram, sizeof(datagram), 0);
        if (size <= 0)
            continue;
        if (m_receiveTimes.size() < m_timed)
            m_receiveTimes.push_back(nanoseconds(CLOCK_MONOTONIC));
        if (m_accepts && !m_accepts(QByteArray::fromRawData(datagram, static_cast<int>(size))))
            return;
        ++m_received;
    }
}
