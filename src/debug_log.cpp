#include "debug_log.h"

#include <sys/stat.h>
#include <sys/time.h>

#include <cstdarg>
#include <cstdlib>
#include <ctime>

namespace {

FILE *logFP;
uint32_t dbgEnable;
char dbgLine[1024];
const uint8_t lookup[16] = {'0', '1', '2', '3', '4', '5', '6', '7',
                            '8', '9', 'A', 'B', 'C', 'D', 'E', 'F'};

/** Bytes of dbgLine that a message may fill, its terminating zero included. */
constexpr size_t messageLimit = sizeof(dbgLine) - 1;

/** What the C library reads the time zone from if the variable TZ is not set. */
constexpr char zoneFile[] = "/etc/localtime";

bool isSameFile(const struct stat &a, const struct stat &b)
{
    return a.st_ino == b.st_ino && a.st_mtim.tv_sec == b.st_mtim.tv_sec
        && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

/**
 * Follows a change of the time zone: alone, localtime_r() would keep the one at the start.
 *
 * tzset() itself compares TZ with the one before. Without TZ it allocates each time, so it is
 * only called for another file.
 */
void followTimeZone()
{
    static bool followsFile;
    static struct stat followed;

    const bool hasVariable = getenv("TZ") != nullptr;
    struct stat file = {};
    if (!hasVariable) {
        stat(zoneFile, &file);
        if (followsFile && isSameFile(file, followed))
            return;
    }
    followsFile = !hasVariable;
    followed = file;
    tzset();
}

void writeEntry(const char *text)
{
    char stamp[80];
    const time_t seconds = time(nullptr);
    followTimeZone();
    struct tm local;
    localtime_r(&seconds, &local);
    const size_t length = strftime(stamp, sizeof(stamp), "%H:%M:%S", &local);

    // A reading of its own: at a second's end the stamp may lag by up to a second.
    timeval now;
    gettimeofday(&now, nullptr);
    snprintf(stamp + length, sizeof(stamp) - length, ":%03d ",
             static_cast<int>(now.tv_usec / 1000));

    fputs(stamp, logFP);
    fputs(text, logFP);
}

} // namespace

void DBG_Init(FILE *stream)
{
    logFP = stream;
    dbgEnable = 0;
}

void DBG_Enable(uint32_t mask)
{
    dbgEnable |= mask;
}

int DBG_IsEnabled(uint32_t mask)
{
    return (dbgEnable & mask) == mask ? 1 : 0;
}

int DBG_Printf(uint32_t mask, const char *format, ...)
{
    if ((mask & dbgEnable) == 0)
        return -1;

    va_list arguments;
    va_start(arguments, format);
    vsnprintf(dbgLine, messageLimit, format, arguments);
    va_end(arguments);

    writeEntry(dbgLine);
    return 0;
}

void DBG_WriteString(uint32_t mask, const char *text)
{
    if ((mask & dbgEnable) != 0)
        writeEntry(text);
}

uint8_t *DBG_HexToAscii(const uint8_t *data, uint8_t length, uint8_t *out)
{
    for (uint8_t i = 0; i < length; ++i) {
        *out++ = lookup[data[i] >> 4];
        *out++ = lookup[data[i] & 0x0F];
    }
    *out = 0;
    return out;
}
