"""Pictures as rows of R, G, B bytes from the top row down: read from the two formats in which they
come, the display's PPM and the console's PNG, and compared.
"""

import struct
import zlib

_CHANNELS_OF_COLOUR_TYPE = {2: 3, 6: 4}  # the PNG kinds RGB and RGBA


class Picture:
    def __init__(self, width, height, pixels):
        assert len(pixels) == width * height * 3
        self.width = width
        self.height = height
        self.pixels = bytes(pixels)

    def __eq__(self, other):
        return self.size() == other.size() and self.pixels == other.pixels

    # What a failed comparison prints: not every pixel.
    def __repr__(self):
        return f"Picture({self.width}x{self.height}, {zlib.crc32(self.pixels):08x})"

    def size(self):
        return (self.width, self.height)

    def isOneColour(self):
        return self.pixels == self.pixels[:3] * (self.width * self.height)

    def hasColour(self, colour):
        at = self.pixels.find(bytes(colour))
        while at % 3 != 0 and at != -1:
            at = self.pixels.find(bytes(colour), at + 1)
        return at != -1

    def centredOn(self, width, height):
        """As seen on a display of that size: in the middle, cut off or with black around it."""
        columns = min(width, self.width)
        fromX, toX = (self.width - columns) // 2, (width - columns) // 2
        rows = min(height, self.height)
        fromY, toY = (self.height - rows) // 2, (height - rows) // 2
        seen = b"".join(bytes(toX * 3) + self.row(y)[fromX * 3:(fromX + columns) * 3]
                        + bytes((width - columns - toX) * 3) for y in range(fromY, fromY + rows))
        return Picture(width, height, bytes(toY * width * 3) + seen
                       + bytes((height - rows - toY) * width * 3))

    def turned(self, degrees):
        """Turned clockwise by 0, 90, 180 or 270 degrees."""
        picture = self
        for _ in range(degrees // 90):
            columns = [picture.pixels[at:at + 3] for at in range(0, len(picture.pixels), 3)]
            # A row is a column of the picture before, from the bottom up.
            rows = [b"".join(columns[x::picture.width][::-1]) for x in range(picture.width)]
            picture = Picture(picture.height, picture.width, b"".join(rows))
        return picture

    def topLeft(self, width, height):
        return Picture(width, height, b"".join(self.row(y)[:width * 3] for y in range(height)))

    def withBits(self, bits):
        """With as many bits of R, G and B, the others 0."""
        masks = [0xff & ~(0xff >> count) for count in bits]
        tables = [bytes(value & mask for value in range(256)) for mask in masks]
        pixels = bytearray(self.pixels)
        for channel, table in enumerate(tables):
            pixels[channel::3] = pixels[channel::3].translate(table)
        return Picture(self.width, self.height, pixels)

    def row(self, y):
        return self.pixels[y * self.width * 3:(y + 1) * self.width * 3]


def differenceOf(left, right):
    """The largest difference of any colour value, 0 to 255; 256 for pictures of different sizes."""
    if left.size() != right.size():
        return 256
    if left.pixels == right.pixels:
        return 0
    return max(abs(a - b) for a, b in zip(left.pixels, right.pixels))


def readPpm(data):
    """A binary PPM with 8 bits a channel and without comments."""
    magic, width, height, limit = data.split(None, 4)[:4]
    if magic != b"P6" or limit != b"255":
        raise ValueError("not a binary PPM of 8 bits a channel")
    size = int(width) * int(height) * 3
    return Picture(int(width), int(height), data[len(data) - size:])


def readPixels(data, size, stride, bytesPerPixel, channels):
    """Rows of pixels as in a display's memory, `stride` bytes each. `channels` are those of R, G and
    B in a pixel: the lowest bit and the number of bits, which becomes a value of 0 to 255."""
    width, height = size
    values = bytearray()
    known = {}
    for y in range(height):
        row = data[y * stride:y * stride + width * bytesPerPixel]
        for at in range(0, len(row), bytesPerPixel):
            pixel = row[at:at + bytesPerPixel]
            if pixel not in known:
                number = int.from_bytes(pixel, "little")
                known[pixel] = bytes((number >> low & (1 << bits) - 1) << 8 - bits
                                     for low, bits in channels)
            values += known[pixel]
    return Picture(width, height, values)


def readPng(data):
    """A PNG with 8 bits a channel, not interlaced, RGB or RGBA; alpha is dropped."""
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        raise ValueError("not a PNG")
    chunks = list(_pngChunks(data))
    width, height, depth, colourType, _, _, interlace = struct.unpack(">IIBBBBB", chunks[0][1])
    if depth != 8 or colourType not in _CHANNELS_OF_COLOUR_TYPE or interlace != 0:
        raise ValueError(f"PNG of depth {depth}, colour type {colourType}, interlace {interlace}")
    channels = _CHANNELS_OF_COLOUR_TYPE[colourType]
    packed = zlib.decompress(b"".join(body for kind, body in chunks if kind == b"IDAT"))
    pixels = _unfilter(packed, width * channels, channels)
    if channels == 4:
        del pixels[3::4]
    return Picture(width, height, pixels)


def writePng(picture):
    rows = b"".join(b"\0" + picture.row(y) for y in range(picture.height))
    header = struct.pack(">IIBBBBB", picture.width, picture.height, 8, 2, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + b"".join(
        struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))
        for kind, body in [(b"IHDR", header), (b"IDAT", zlib.compress(rows, 9)), (b"IEND", b"")])


def _pngChunks(data):
    at = 8
    while at < len(data):
        size, kind = struct.unpack_from(">I4s", data, at)
        yield kind, data[at + 8:at + 8 + size]
        at += size + 12


def _unfilter(packed, rowBytes, channels):
    pixels = bytearray()
    above = bytes(rowBytes)
    # A console is mostly rows like the one above them, and undoing a filter byte by byte is slow.
    known = {}
    for at in range(0, len(packed), rowBytes + 1):
        kind, row = packed[at], packed[at + 1:at + 1 + rowBytes]
        if (kind, row, above) not in known:
            known[kind, row, above] = _unfilterRow(kind, bytearray(row), above, channels)
        above = known[kind, row, above]
        pixels += above
    return pixels


def _unfilterRow(kind, row, above, channels):
    if kind != 0:
        predict = {1: _left, 2: _above, 3: _average, 4: _paeth}[kind]
        for i in range(len(row)):
            left, corner = (row[i - channels], above[i - channels]) if i >= channels else (0, 0)
            row[i] = (row[i] + predict(left, above[i], corner)) & 255
    return bytes(row)


def _left(left, above, corner):
    return left


def _above(left, above, corner):
    return above


def _average(left, above, corner):
    return (left + above) // 2


def _paeth(left, above, corner):
    estimate = left + above - corner
    return min((abs(estimate - left), 0, left), (abs(estimate - above), 1, above),
               (abs(estimate - corner), 2, corner))[2]
