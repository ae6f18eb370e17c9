"""PNG files of an exact length."""

import struct
import subprocess
import tempfile
import zlib

SIGNATURE = b"\x89PNG\r\n\x1a\n"
COLOUR_TYPES = {"RGB": 2, "RGBA": 6}
# Ancillary, private, safe to copy: every reader skips it.
PADDING = b"paDd"
CHUNK_OVERHEAD = 12


def encode(image, length=None):
    """The file of an RGB or RGBA image; with a length, in exactly that many bytes.

    Raises ValueError if the image does not fit, or leaves a gap too small for a chunk.
    """
    header = struct.pack(">IIBBBBB", *image.size, 8, COLOUR_TYPES[image.mode], 0, 0, 0)
    head = SIGNATURE + _chunk(b"IHDR", header) + _chunk(b"IDAT", _compressed(image))
    end = _chunk(b"IEND", b"")
    if length in (None, len(head + end)):
        return head + end
    gap = length - len(head + end)
    if gap < CHUNK_OVERHEAD:
        raise ValueError(f"a picture of {length - gap} bytes cannot be padded to {length}")
    return head + _chunk(PADDING, bytes(gap - CHUNK_OVERHEAD)) + end


def keep_colours(image, count):
    """The image in `count` of its own colours, every other pixel in the nearest of them.

    Flat areas and the strokes of text keep their exact colour; nothing is blurred or dithered.
    """
    frequencies = {
        colour: number
        for number, colour in sorted(image.getcolors(image.width * image.height), reverse=True)
    }
    errors = frequencies
    nearest = {}
    for _ in range(min(count, len(frequencies))):
        kept = max(errors, key=errors.get)
        for colour in frequencies:
            nearest[colour] = min(
                nearest.get(colour, kept),
                kept,
                key=lambda other, colour=colour: _distance(colour, other),
            )
        errors = {
            colour: number * _distance(colour, nearest[colour])
            for colour, number in frequencies.items()
        }
    reduced = image.copy()
    reduced.putdata([nearest[colour] for colour in image.getdata()])
    return reduced


def _distance(one, other):
    return sum((a - b) ** 2 for a, b in zip(one, other))


def _chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def _compressed(image):
    """The smaller of the unfiltered and the row-above filtered image data."""
    stride = image.width * len(image.mode)
    pixels = image.tobytes()
    rows = [pixels[start : start + stride] for start in range(0, len(pixels), stride)]
    above = [bytes(stride)] + rows[:-1]
    unfiltered = b"".join(b"\0" + row for row in rows)
    differences = b"".join(
        b"\2" + bytes((a - b) & 0xFF for a, b in zip(row, previous))
        for row, previous in zip(rows, above)
    )
    return min(_zopfli(unfiltered), _zopfli(differences), key=len)


def _zopfli(data):
    with tempfile.NamedTemporaryFile() as source:
        source.write(data)
        source.flush()
        return subprocess.run(
            ["zopfli", "--zlib", "-c", source.name], check=True, stdout=subprocess.PIPE
        ).stdout
