"""Makes a PNG small: at most 256 colours, each as near to its own as that allows.
SPDX-License-Identifier: MIT"""
import collections
import struct
import zlib

SIGNATURE = b"\x89PNG\r\n\x1a\n"


def chunks(data):
    position = len(SIGNATURE)
    while position < len(data):
        length, kind = struct.unpack(">I4s", data[position:position + 8])
        yield kind, data[position + 8:position + 8 + length]
        position += length + 12


def chunk(kind, body):
    return (struct.pack(">I", len(body)) + kind + body
            + struct.pack(">I", zlib.crc32(kind + body)))


def nearest_of_three(left, above, corner):
    guess = left + above - corner
    distances = abs(guess - left), abs(guess - above), abs(guess - corner)
    return (left, above, corner)[distances.index(min(distances))]


def unfiltered(rows, width, channels):
    """The bytes of each line of pixels, without what the lines say of each other."""
    length = width * channels
    above = bytes(length)
    for start in range(0, len(rows), length + 1):
        kind, line = rows[start], bytearray(rows[start + 1:start + 1 + length])
        if kind == 2:
            line = bytearray((x + y) & 255 for x, y in zip(line, above))
        elif kind:
            for i in range(length):
                left = line[i - channels] if i >= channels else 0
                corner = above[i - channels] if i >= channels else 0
                line[i] = (line[i] + (left if kind == 1 else (left + above[i]) // 2 if kind == 3
                                      else nearest_of_three(left, above[i], corner))) & 255
        yield bytes(line)
        above = line


def palette_of(colours, most=256):
    """The most frequent colours, and for each other one the nearest of them."""
    counted = collections.Counter(colours)
    chosen = [colour for colour, _ in counted.most_common(most)]
    places = {colour: index for index, colour in enumerate(chosen)}
    for colour in counted.keys() - places.keys():
        places[colour] = min(range(len(chosen)), key=lambda index: sum(
            (x - y) ** 2 for x, y in zip(colour, chosen[index])))
    return chosen, places


def shrink(data):
    """The same picture in fewer bytes; data is an RGB or RGBA PNG of 8 bits."""
    parts = list(chunks(data))
    width, height, depth, kind = struct.unpack(">IIBB", parts[0][1][:10])
    channels = {2: 3, 6: 4}[kind]
    assert depth == 8
    rows = zlib.decompress(b"".join(body for name, body in parts if name == b"IDAT"))
    pixels = []
    for line in unfiltered(rows, width, channels):
        pixels.append([line[i:i + 3] for i in range(0, len(line), channels)])
    chosen, places = palette_of(colour for line in pixels for colour in line)
    image = b"".join(b"\0" + bytes(places[colour] for colour in line) for line in pixels)
    return (SIGNATURE
            + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 3, 0, 0, 0))
            + chunk(b"PLTE", b"".join(chosen))
            + chunk(b"IDAT", zlib.compress(image, 9))
            + chunk(b"IEND", b""))
