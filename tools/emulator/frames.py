"""Frames as the device sends them, and as a capture of ZEP datagrams has them."""

import os
import struct
import time

from guest import Failure

ZEP_PORT = 17754
HEADER_SIZE = 32


def device_frames(port):
    """All frames that a device, told to send them once, sends as fast as it can."""
    descriptor = os.open(port, os.O_RDWR | os.O_NOCTTY)
    os.write(descriptor, b"\nsniff\n")
    time.sleep(1)
    stream = os.read(descriptor, 1 << 16)
    os.close(descriptor)

    frames = []
    while stream:
        # 0x01, length, eight bytes about the reception, the frame, 0x04.
        size = stream[1]
        frames.append(stream[10 : 2 + size])
        stream = stream[3 + size :]
    return frames


def payload_in_zep(frame):
    """An acknowledgement's own bytes are not sent on."""
    return frame if len(frame) > 5 else b""


def packets(capture):
    """The packets' bytes in a pcapng file, which may end in the middle of one."""
    while len(capture) >= 12:
        kind, size = struct.unpack_from("<II", capture)
        if len(capture) < size:
            return
        if kind == 6:
            (length,) = struct.unpack_from("<I", capture, 20)
            yield capture[28 : 28 + length]
        capture = capture[size:]


def datagram(packet):
    """The ZEP datagram behind the headers of a network, or of Wireshark's UDP listener."""
    start = packet.find(b"EX\x02")
    if start < 0:
        raise Failure(f"a captured packet is no ZEP datagram: {packet.hex()}")
    return packet[start:]


class Datagrams:
    """The ZEP datagrams in a capture, as sequence numbers and payloads."""

    def __init__(self, capture):
        self.numbers = []
        self.payloads = []
        for bytes_of_it in map(datagram, packets(capture)):
            acknowledges = bytes_of_it[3] == 2
            (number,) = struct.unpack_from(">I", bytes_of_it, 4 if acknowledges else 17)
            self.numbers.append(number)
            self.payloads.append(b"" if acknowledges else bytes_of_it[HEADER_SIZE:])

    def __len__(self):
        return len(self.numbers)

    def since(self, count):
        later = Datagrams(b"")
        later.numbers = self.numbers[count:]
        later.payloads = self.payloads[count:]
        return later

    def check_numbers(self):
        first = self.numbers[0]
        if self.numbers != list(range(first, first + len(self))):
            raise Failure(f"the datagrams are not in sequence: {self.numbers}")

    def check(self, frames):
        """They are what a device sends that repeats these frames, without a gap."""
        self.check_numbers()
        expected = [payload_in_zep(frame) for frame in frames]
        doubled = expected * (len(self) // len(expected) + 2)
        if not any(
            doubled[start : start + len(self)] == self.payloads for start in range(len(expected))
        ):
            raise Failure("the frames are not those that the device has sent, in order")

    def foreign(self, frames):
        """How many are no frame of the device."""
        known = {payload_in_zep(frame) for frame in frames}
        return sum(payload not in known for payload in self.payloads)
