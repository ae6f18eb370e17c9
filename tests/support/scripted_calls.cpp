// The linker leads the program's calls of these names here (--wrap), and with them everything
// that leaves the process or comes from outside.

#include "debug_log.h"
#include "scripted_link.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include <sys/time.h>

class QUdpSocket;

extern "C" {

int __wrap_gettimeofday(timeval *now, void * /*zone*/)
{
    const qint64 microseconds = ScriptedLink::readClock();
    now->tv_sec = static_cast<time_t>(microseconds / 1'000'000);
    now->tv_usec = static_cast<suseconds_t>(microseconds % 1'000'000);
    return 0;
}

// What it is called on a 32-bit system whose time_t has 64 bits.
[[gnu::alias("__wrap_gettimeofday")]] int __wrap___gettimeofday64(timeval *now, void *zone);

// DBG_Printf()
int __wrap__Z10DBG_PrintfjPKcz(uint32_t mask, const char *format, ...)
{
    std::array<char, 256> line = {};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    ScriptedLink::record(LinkEvent::LogLine, mask == DBG_GENERAL ? line.data() : "silent");
    return 0;
}

// QUdpSocket::writeDatagram()
qint64 __wrap__ZN10QUdpSocket13writeDatagramEPKcxRK12QHostAddresst(QUdpSocket * /*socket*/,
                                                                   const char *data, qint64 size,
                                                                   const QHostAddress &host,
                                                                   quint16 port)
{
    return ScriptedLink::send(QByteArray(data, static_cast<int>(size)), host, port);
}
}
