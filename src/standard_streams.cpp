#include "standard_streams.h"

#include <csignal>

#include <fcntl.h>
#include <unistd.h>

void StandardStreams::secure()
{
    // A closed one's number would go to the next file opened, such as the connection to the
    // screen or the device's port, and what is printed would go there.
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) == -1)
            open("/dev/null", O_RDWR);
    }
    std::signal(SIGPIPE, SIG_IGN);
}
