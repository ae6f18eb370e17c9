"""A USB-to-serial bridge, to be plugged into QEMU.

QEMU's own one has fixed identifiers, which are not the dongle's. This is an FT230X, which
QEMU's `usb-redir` device hears over a socket: every request of the guest's driver is a
packet of the USB redirection protocol. What the bridge hears on its serial side comes from
a port of this machine.
"""

import collections
import os
import select
import socket
import struct
import threading

HELLO, CONNECT, INTERFACES, ENDPOINTS = 0, 1, 4, 5
SET_CONFIGURATION, GET_CONFIGURATION, CONFIGURATION_STATUS = 6, 7, 8
SET_INTERFACE, GET_INTERFACE, INTERFACE_STATUS, CANCEL = 9, 10, 11, 21
CONTROL, BULK = 100, 101

# What either side may add to packets: the device's version, packet sizes, numbers of 64 bits,
# lengths of 32 bits, the higher half of which comes last.
CAPABILITIES = 1 << 1 | 1 << 4 | 1 << 5 | 1 << 6
# The header of a greeting, which precedes any agreement, and that of what follows.
GREETING_HEADER = struct.Struct("<III")
HEADER = struct.Struct("<IIQ")
BULK_HEADER = struct.Struct("<BBHIH")

SUCCESS, CANCELLED, STALLED = 0, 1, 4
TYPE_CONTROL, TYPE_BULK, TYPE_NONE = 0, 2, 255
FULL_SPEED = 1
FROM_HOST, TO_HOST = 0x02, 0x81
PACKET_SIZE = 64

# What the bridge holds when the guest does not read; more than that is lost. The real one holds
# 512 bytes, but no real processor stands still for half a second.
FIFO_SIZE = 4096

# The two bytes in front of what is received: modem lines, line status.
CLEAR_TO_SEND = 0x31
TRANSMITTER_EMPTY = 0x60
BREAK = 0x10


def string_descriptor(text):
    body = text.encode("utf-16-le")
    return bytes([len(body) + 2, 3]) + body


class UsbBridge(threading.Thread):
    """An FT230X, plugged in when it is made; unplug() ends it.

    It counts the bytes that the guest has written, and those lost because it did not read.
    """

    def __init__(self, usb_socket, serial_port, product_id=0x6015):
        super().__init__(daemon=True)
        self.product_id = product_id
        self.usb = socket.socket(socket.AF_UNIX)
        self.usb.connect(usb_socket)
        self.serial = os.open(serial_port, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        self.wake_reader, self.wake_writer = os.pipe()
        self.fifo = bytearray()
        self.breaks = 0
        self.lost = 0
        self.written = 0
        self.header = GREETING_HEADER
        self.waiting_reads = collections.deque()
        self.received = b""
        self.start()

    def unplug(self):
        os.write(self.wake_writer, b"u")
        self.join()

    def send_break(self):
        """The serial line is held low for longer than a character."""
        os.write(self.wake_writer, b"b")

    def run(self):
        hello = b"USB bridge".ljust(64, b"\0") + struct.pack("<I", CAPABILITIES)
        self.send(HELLO, 0, hello)
        try:
            while self.serve():
                pass
        except ConnectionError:
            pass
        for descriptor in (self.serial, self.wake_reader, self.wake_writer):
            os.close(descriptor)
        self.usb.close()

    def serve(self):
        ready, _, _ = select.select([self.usb, self.serial, self.wake_reader], [], [])
        if self.wake_reader in ready:
            if os.read(self.wake_reader, 1) == b"u":
                return False
            self.breaks += 1
        if self.serial in ready:
            self.read_serial()
        if self.usb in ready and not self.read_packets():
            return False
        self.answer_reads()
        return True

    def read_serial(self):
        received = os.read(self.serial, 4096)
        room = FIFO_SIZE - len(self.fifo)
        self.fifo += received[:room]
        self.lost += len(received[room:])

    def send(self, kind, number, body=b""):
        self.usb.sendall(self.header.pack(kind, len(body), number) + body)

    def read_packets(self):
        received = self.usb.recv(65536)
        self.received += received
        while len(self.received) >= self.header.size:
            kind, length, number = self.header.unpack_from(self.received)
            end = self.header.size + length
            if len(self.received) < end:
                break
            body = self.received[self.header.size : end]
            self.received = self.received[end:]
            self.handle(kind, number, body)
        return bool(received)

    def handle(self, kind, number, body):
        if kind == HELLO:
            self.header = HEADER
            self.introduce()
        elif kind in (SET_CONFIGURATION, GET_CONFIGURATION):
            self.send(CONFIGURATION_STATUS, number, bytes([SUCCESS, 1]))
        elif kind in (SET_INTERFACE, GET_INTERFACE):
            self.send(INTERFACE_STATUS, number, bytes([SUCCESS, 0, 0]))
        elif kind == CANCEL:
            self.cancel(number)
        elif kind == CONTROL:
            self.control(number, body)
        elif kind == BULK:
            self.transfer(number, body)

    def introduce(self):
        kinds = bytearray([TYPE_NONE] * 32)
        sizes = [0] * 32
        for endpoint, kind, size in (
            (0x00, TYPE_CONTROL, 8),
            (0x80, TYPE_CONTROL, 8),
            (FROM_HOST, TYPE_BULK, PACKET_SIZE),
            (TO_HOST, TYPE_BULK, PACKET_SIZE),
        ):
            index = (endpoint & 0x80) >> 3 | endpoint & 0x0F
            kinds[index] = kind
            sizes[index] = size
        self.send(ENDPOINTS, 0, bytes(kinds) + bytes(64) + struct.pack("<32H", *sizes))
        of_vendor = bytes([255]) + bytes(31)
        self.send(INTERFACES, 0, struct.pack("<I", 1) + bytes(32) + 3 * of_vendor)
        self.send(
            CONNECT,
            0,
            struct.pack("<BBBBHHH", FULL_SPEED, 0, 0, 0, 0x0403, self.product_id, 0x1000),
        )

    def control(self, number, body):
        endpoint, request, kind, _, value, index, length = struct.unpack_from("<BBBBHHH", body)
        answer = b""
        status = SUCCESS
        if kind & 0x80:
            answer = (
                self.descriptor(value)
                if kind == 0x80 and request == 6
                else self.fact(kind, request)
            )
            answer = answer[:length]
            status = SUCCESS if answer else STALLED
            length = len(answer)
        header = struct.pack("<BBBBHHH", endpoint, request, kind, status, value, index, length)
        self.send(CONTROL, number, header + answer)

    def descriptor(self, value):
        strings = {1: "FTDI", 2: "FT230X Basic UART", 3: "DM00F3NX"}
        kind, index = value >> 8, value & 0xFF
        if kind == 1:
            identifiers = struct.pack("<HHH", 0x0403, self.product_id, 0x1000)
            return bytes([18, 1, 0, 2, 0, 0, 0, 8]) + identifiers + bytes([1, 2, 3, 1])
        if kind == 2:
            endpoints = b"".join(
                bytes([7, 5, e, 2, PACKET_SIZE, 0, 0]) for e in (TO_HOST, FROM_HOST)
            )
            interface = bytes([9, 4, 0, 0, 2, 255, 255, 255, 2])
            return bytes([9, 2, 32, 0, 1, 1, 0, 0xA0, 45]) + interface + endpoints
        if kind == 3 and index == 0:
            return bytes([4, 3, 9, 4])
        if kind == 3 and index in strings:
            return string_descriptor(strings[index])
        return b""

    def fact(self, kind, request):
        if kind != 0xC0:
            # The status of the device, of its interface or of an endpoint.
            return bytes(2)
        facts = {0x05: bytes([CLEAR_TO_SEND, TRANSMITTER_EMPTY]), 0x0A: bytes([16]), 0x90: bytes(2)}
        return facts.get(request, b"")

    def transfer(self, number, body):
        endpoint, _, length, _, _ = BULK_HEADER.unpack_from(body)
        if endpoint == TO_HOST:
            self.waiting_reads.append(number)
            return
        self.written += os.write(self.serial, body[BULK_HEADER.size :])
        self.send(BULK, number, BULK_HEADER.pack(endpoint, SUCCESS, length, 0, 0))

    def cancel(self, number):
        if number in self.waiting_reads:
            self.waiting_reads.remove(number)
            self.send(BULK, number, BULK_HEADER.pack(TO_HOST, CANCELLED, 0, 0, 0))

    def answer_reads(self):
        while self.waiting_reads and (self.fifo or self.breaks):
            status = TRANSMITTER_EMPTY
            if self.breaks:
                # It is told together with a character, a null byte.
                self.breaks -= 1
                status |= BREAK
                data = b"\0"
            else:
                data = bytes(self.fifo[: PACKET_SIZE - 2])
                del self.fifo[: len(data)]
            packet = bytes([CLEAR_TO_SEND, status]) + data
            header = BULK_HEADER.pack(TO_HOST, SUCCESS, len(packet), 0, 0)
            self.send(BULK, self.waiting_reads.popleft(), header + packet)
