#include "traffic.h"

namespace Simulator {

namespace {

// Network 0x1a62: coordinator 0x0000 (02:00:00:00:00:00:00:0a) and lamp 0x5e2d
// (02:00:00:00:00:00:00:0b). Without check sequences, lowest byte first, groups as
// on the air: MAC header, NWK header, APS header, payload.
constexpr const char *hexFrames[] = {
    // The lamp looks for a network; the coordinator's beacon; the lamp joins.
    "0308 01 ffff ffff  07",
    "0080 90 621a 0000  ffcf 00 00  00 22 84 0a00000000000002 ffffff 00",
    "23c8 02 621a 0000 ffff 0b00000000000002  01 8e",
    "0200 02",
    "63c8 03 621a 0000 0b00000000000002  04",
    "1200 03",
    "63cc 91 621a 0b00000000000002 0a00000000000002  02 2d5e 00",
    "0200 91",

    // Device announcement, then active endpoints: request and response (ZDP).
    "4188 04 621a ffff 2d5e  0800 fdff 2d5e 1e 20  08 00 1300 0000 00 30  012d5e0b000000000000028e",
    "6188 92 621a 2d5e 0000  0800 2d5e 0000 1e 70  40 00 0500 0000 00 40  02 2d5e",
    "0200 92",
    "6188 05 621a 0000 2d5e  0800 0000 2d5e 1e 21  40 00 0580 0000 00 31  02 00 2d5e 01 01",
    "0200 05",

    // The lamp is toggled (ZCL on/off), acknowledges, answers and reports its state.
    "6188 93 621a 2d5e 0000  0800 2d5e 0000 1e 71  40 01 0600 0401 01 41  01 07 02",
    "0200 93",
    "6188 06 621a 0000 2d5e  0800 0000 2d5e 1e 22  02 01 0600 0401 01 41",
    "6188 07 621a 0000 2d5e  0800 0000 2d5e 1e 23  00 01 0600 0401 01 32  18 07 0b 02 00",
    "6188 08 621a 0000 2d5e  0800 0000 2d5e 1e 24  00 01 0600 0401 01 33  18 08 0a 0000 10 01",
    "0200 08",

    // Link status (NWK command), data encrypted with the network's key, and farewell.
    "4188 94 621a ffff 0000  0900 fcff 0000 01 72  08 61 2d5e 11",
    "6188 95 621a 2d5e 0000 0802 2d5e 0000 1e 73 28051000000a0000000000000200 7c19e0435bd294c80de7",
    "0200 95",
    "63cc 09 621a 0a00000000000002 0b00000000000002  03 02",
    "0200 09",
};

} // namespace

Traffic Traffic::builtIn()
{
    QVector<QByteArray> result;
    for (const char *frame : hexFrames)
        result.append(withFrameCheckSequence(QByteArray::fromHex(frame)));
    return fromFrames(result);
}

} // namespace Simulator
