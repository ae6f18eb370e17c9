"""Apple icon sets: a list of elements, each a four-letter type, a length and its data."""

import struct

HEADER = 8
# Bytes in front of the 128 pixel planes, which the format leaves at zero.
LARGE_PLANES_PREFIX = bytes(4)
SHORTEST_RUN, LONGEST_RUN, LONGEST_LITERAL = 3, 130, 128


def encode(elements):
    """The file of (type, data) elements, behind a table of contents that lists them all."""
    contents = b"".join(kind + _length(data) for kind, data in elements)
    listed = [(b"TOC ", contents), *elements]
    body = b"".join(kind + _length(data) + data for kind, data in listed)
    return b"icns" + _length(body) + body


def encoded_length(lengths):
    """The length of a file whose elements have these data lengths."""
    return 2 * HEADER + sum(2 * HEADER + length for length in lengths)


def planes(image):
    """The red, green and blue planes of an image, one after the other, run-length encoded."""
    prefix = LARGE_PLANES_PREFIX if image.width == 128 else b""
    return prefix + b"".join(_run_lengths(image.getchannel(band).tobytes()) for band in "RGB")


def mask(image):
    return image.getchannel("A").tobytes()


def version(number):
    return struct.pack(">f", number)


def _length(data):
    return struct.pack(">I", HEADER + len(data))


def _run_lengths(plane):
    """A count below 128 precedes that many literals plus one; 128 and up repeat one byte."""
    encoded, literals, position = bytearray(), bytearray(), 0
    while position < len(plane):
        run = _run_at(plane, position)
        if run < SHORTEST_RUN:
            literals += plane[position : position + run]
        else:
            encoded += _literals(literals) + bytes((run + 125, plane[position]))
            literals.clear()
        position += run
    return bytes(encoded + _literals(literals))


def _run_at(plane, start):
    end = start + 1
    while end < len(plane) and plane[end] == plane[start] and end - start < LONGEST_RUN:
        end += 1
    return end - start


def _literals(data):
    pieces = (
        data[start : start + LONGEST_LITERAL] for start in range(0, len(data), LONGEST_LITERAL)
    )
    return b"".join(bytes((len(piece) - 1,)) + piece for piece in pieces)
