"""Pictures are read as they were written, and one that differs is told from one that does not."""

import struct
import unittest
import zlib

from picture import Picture, differenceOf, readPixels, readPng, readPpm, writePng

WIDTH, HEIGHT = 7, 5
PIXELS = bytes((x * 37 + y * 91 + c * 53) & 255
               for y in range(HEIGHT) for x in range(WIDTH) for c in range(3))


def predictedByPaeth(left, above, corner):
    distances = {p: abs(left + above - corner - p) for p in (corner, above, left)}
    nearest = min(distances.values())
    return next(p for p in (left, above, corner) if distances[p] == nearest)


PREDICTIONS = [
    lambda left, above, corner: 0,
    lambda left, above, corner: left,
    lambda left, above, corner: above,
    lambda left, above, corner: (left + above) >> 1,
    predictedByPaeth,
]


def filteredRow(kind, y, channels, pixels):
    def value(x, line):
        inside = x >= 0 and line >= 0
        return pixels[line * WIDTH * channels + x] if inside else 0

    return bytes([kind]) + bytes(
        (value(x, y) - PREDICTIONS[kind](value(x - channels, y), value(x, y - 1),
                                         value(x - channels, y - 1))) & 255
        for x in range(WIDTH * channels))


def png(kind, channels=3, pixels=PIXELS, depth=8):
    rows = b"".join(filteredRow(kind, y, channels, pixels) for y in range(HEIGHT))
    header = struct.pack(">IIBBBBB", WIDTH, HEIGHT, depth, {3: 2, 4: 6}[channels], 0, 0, 0)
    chunks = [(b"IHDR", header), (b"IDAT", zlib.compress(rows)), (b"IEND", b"")]
    return b"\x89PNG\r\n\x1a\n" + b"".join(
        struct.pack(">I", len(body)) + kind + body + bytes(4) for kind, body in chunks)


class PictureTest(unittest.TestCase):
    def testEveryFilterOfPngIsUndone(self):
        for kind in range(5):
            with self.subTest(filter=kind):
                self.assertEqual(readPng(png(kind)).pixels, PIXELS)

    def testAlphaOfPngIsDropped(self):
        withAlpha = b"".join(PIXELS[i:i + 3] + b"\x80" for i in range(0, len(PIXELS), 3))
        self.assertEqual(readPng(png(4, 4, withAlpha)).pixels, PIXELS)

    def testPngOfAnotherDepthIsRefused(self):
        self.assertRaises(ValueError, readPng, png(0, depth=16))

    def testWrittenPngIsReadBack(self):
        picture = readPng(writePng(Picture(WIDTH, HEIGHT, PIXELS)))
        self.assertEqual((picture.size(), picture.pixels), ((WIDTH, HEIGHT), PIXELS))

    def testPpmMayStartWithBytesThatLookLikeBlanks(self):
        pixels = b"\n \t" + PIXELS[3:]
        picture = readPpm(b"P6\n%d %d\n255\n" % (WIDTH, HEIGHT) + pixels)
        self.assertEqual((picture.size(), picture.pixels), ((WIDTH, HEIGHT), pixels))

    def testDifferenceIsTheLargestOfAnyValue(self):
        changed = bytearray(PIXELS)
        changed[10] ^= 1
        changed[50] = (changed[50] + 90) if changed[50] < 128 else (changed[50] - 90)
        self.assertEqual(differenceOf(Picture(WIDTH, HEIGHT, PIXELS),
                                      Picture(WIDTH, HEIGHT, changed)), 90)

    def testEqualPicturesDoNotDiffer(self):
        self.assertEqual(differenceOf(Picture(WIDTH, HEIGHT, PIXELS),
                                      Picture(WIDTH, HEIGHT, PIXELS)), 0)

    def testPicturesOfDifferentSizesDifferMoreThanAnyOthers(self):
        self.assertEqual(differenceOf(Picture(1, 2, bytes(6)), Picture(2, 1, bytes(6))), 256)

    def testCentredPictureIsCutOffOrBlackAround(self):
        picture = Picture(3, 1, b"\1\1\1\2\2\2\3\3\3")
        self.assertEqual(picture.centredOn(1, 3).pixels, bytes(3) + b"\2\2\2" + bytes(3))
        self.assertEqual(picture.centredOn(5, 1).pixels, bytes(3) + picture.pixels + bytes(3))
        self.assertEqual(picture.centredOn(3, 1), picture)

    def testColourIsFoundOnlyWhereAPixelBegins(self):
        self.assertTrue(Picture(2, 1, b"\1\2\3\4\5\6").hasColour((4, 5, 6)))
        self.assertFalse(Picture(2, 1, b"\1\2\3\4\5\6").hasColour((2, 3, 4)))
        self.assertTrue(Picture(3, 1, b"\0\2\3\4\0\0\2\3\4").hasColour((2, 3, 4)))
        self.assertFalse(Picture(1, 1, b"\0\0\0").hasColour((0, 0, 1)))

    def testTurnedPictureHasItsRightSideBelow(self):
        one, two, three, four, five, six = (bytes([n] * 3) for n in range(1, 7))
        picture = Picture(3, 2, one + two + three + four + five + six)
        self.assertEqual(picture.turned(0), picture)
        self.assertEqual(picture.turned(90), Picture(2, 3, four + one + five + two + six + three))
        self.assertEqual(picture.turned(180), Picture(3, 2, six + five + four + three + two + one))
        self.assertEqual(picture.turned(270), Picture(2, 3, three + six + two + five + one + four))

    def testTopLeftIsCutOut(self):
        picture = Picture(3, 2, bytes(range(18)))
        self.assertEqual(picture.topLeft(2, 1), Picture(2, 1, bytes(range(6))))

    def testPixelsOfADisplaysMemoryAreRead(self):
        memory = b"\x1f\xf8\xe0\x07..\x00\xf8\x1f\x00.."
        self.assertEqual(readPixels(memory, (2, 2), 6, 2, [(0, 5), (5, 6), (11, 5)]),
                         Picture(2, 2, b"\xf8\0\xf8" b"\0\xfc\0" b"\0\0\xf8" b"\xf8\0\0"))
        self.assertEqual(readPixels(b"\1\2\3\0", (1, 1), 4, 4, [(16, 8), (8, 8), (0, 8)]),
                         Picture(1, 1, b"\3\2\1"))

    def testFewerBitsAreTheHighOnes(self):
        self.assertEqual(Picture(1, 1, b"\xff\x87\x0f").withBits((5, 6, 5)),
                         Picture(1, 1, b"\xf8\x84\x08"))

    def testOneChangedPixelIsASecondColour(self):
        self.assertTrue(Picture(2, 2, bytes(12)).isOneColour())
        self.assertFalse(Picture(2, 2, bytes(11) + b"\1").isOneColour())


if __name__ == "__main__":
    unittest.main()
