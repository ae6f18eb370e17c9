// The floor: blocks of bytes from the port, the same framing, one datagram for each frame, and
// nothing else.

#include "../zep_port.h"
#include "ready.h"
#include "zep.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

int main(int argc, char *argv[])
{
    const int port = argc == 2 ? open(argv[1], O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
    termios attributes = {};
    if (port < 0 || tcgetattr(port, &attributes) != 0)
        return 1;
    cfmakeraw(&attributes);
    tcsetattr(port, TCSANOW, &attributes);

    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(zepPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sayReady();

    ZepFraming framing;
    uint8_t block[4096];
    for (ssize_t count = 0; (count = read(port, block, sizeof block)) > 0;) {
        for (ssize_t i = 0; i < count; ++i) {
            const int size = framing.take(block[i]);
            if (size > 0)
                sendto(socket, framing.datagram(), static_cast<size_t>(size), 0,
                       reinterpret_cast<const sockaddr *>(&address), sizeof address);
        }
    }
    return 0;
}
