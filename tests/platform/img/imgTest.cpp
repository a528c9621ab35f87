// The image library: what comes out of each kind of file, and that a broken file is an error and
// nothing worse.
#include <gmock/gmock.h>
#include <img/img.h>
#include <png.h>
#include <sys/stat.h>
#include <zlib.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/support/pictureFiles.h"
#include "support/temporaryFolder.h"

namespace {

class ImageLibrary : public testing::Test {
protected:
    ImageLibrary() {
        EXPECT_EQ(img_lib_attach(&library), IMG_ERR_OK);
        std::memset(&image, 0xa5, sizeof image);  // fields without a flag may hold garbage
        image.flags = IMG_FORMAT;
        image.format = IMG_FMT_RGBA8888;
    }
    ~ImageLibrary() override {
        if (image.flags & IMG_DIRECT)
            std::free(image.access.direct.data);
        img_lib_detach(library);
    }

    int load(const Bytes& file) {
        writeFile(folder.file("picture"), file);
        return img_load_file(library, folder.file("picture").c_str(), nullptr, &image);
    }

    // The pixels of a file that must decode.
    Bytes pixels(const Bytes& file) {
        EXPECT_EQ(load(file), IMG_ERR_OK);
        if (!(image.flags & IMG_DIRECT))
            return {};
        return Bytes(image.access.direct.data,
                     image.access.direct.data + size_t{image.w} * image.h * 4);
    }

    TemporaryFolder folder;
    img_lib_t library = nullptr;
    img_t image;
};

PngContent colorPng() {
    PngContent content;
    content.width = 3;
    content.height = 2;
    content.colorType = PNG_COLOR_TYPE_RGB_ALPHA;
    content.rows = {255, 0, 0, 255, 0,   255, 0,   128, 0,   0, 255, 0,
                    1,   2, 3, 4,   100, 150, 200, 250, 255, 1, 254, 2};
    return content;
}

Bytes deflated(const Bytes& data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    Bytes out(size);
    EXPECT_EQ(compress2(out.data(), &size, data.data(), static_cast<uLong>(data.size()), 9), Z_OK);
    out.resize(size);
    return out;
}

Bytes headerData(uint32_t width, uint32_t height) {
    const auto byte = [](uint32_t value, int shift) {
        return static_cast<uint8_t>(value >> shift);
    };
    return {byte(width, 24),
            byte(width, 16),
            byte(width, 8),
            byte(width, 0),
            byte(height, 24),
            byte(height, 16),
            byte(height, 8),
            byte(height, 0),
            8,
            6,
            0,
            0,
            0};
}

JpegContent jpegOf(uint8_t red, uint8_t green, uint8_t blue) {
    JpegContent content;
    content.width = 16;
    content.height = 8;
    for (int i = 0; i < content.width * content.height; ++i)
        content.rgb.insert(content.rgb.end(), {red, green, blue});
    return content;
}

TEST_F(ImageLibrary, DeliversTheSamplesOfAPngAsTheyAre) {
    EXPECT_EQ(pixels(encodePng(colorPng())), colorPng().rows);
}

TEST_F(ImageLibrary, FillsTheFieldsAndTheirFlags) {
    ASSERT_EQ(load(encodePng(colorPng())), IMG_ERR_OK);
    EXPECT_EQ(image.w, 3u);
    EXPECT_EQ(image.h, 2u);
    EXPECT_EQ(image.format, IMG_FMT_RGBA8888);
    EXPECT_EQ(image.access.direct.stride, 12u);
    EXPECT_EQ(image.flags, unsigned{IMG_FORMAT | IMG_W | IMG_H | IMG_DIRECT});
}

TEST_F(ImageLibrary, DeliversTheSameWithoutAWantedFormat) {
    image.flags = 0;
    image.format = IMG_FMT_INVALID;
    EXPECT_EQ(pixels(encodePng(colorPng())), colorPng().rows);
}

TEST_F(ImageLibrary, GivesOpaquePicturesFullAlpha) {
    PngContent content;
    content.width = 2;
    content.height = 1;
    content.colorType = PNG_COLOR_TYPE_RGB;
    content.rows = {10, 20, 30, 40, 50, 60};
    EXPECT_EQ(pixels(encodePng(content)), (Bytes{10, 20, 30, 255, 40, 50, 60, 255}));
}

TEST_F(ImageLibrary, KeepsEveryGreyOfEightBits) {
    PngContent content;
    content.width = 256;
    content.height = 1;
    Bytes expected;
    for (int grey = 0; grey < 256; ++grey) {
        const auto sample = static_cast<uint8_t>(grey);
        content.rows.push_back(sample);
        expected.insert(expected.end(), {sample, sample, sample, 255});
    }
    EXPECT_EQ(pixels(encodePng(content)), expected);
}

TEST_F(ImageLibrary, KeepsEveryGreyWhateverTheFileSaysOfGamma) {
    for (const double gamma : {1.0, 0.45455, 0.3, 2.2}) {
        PngContent content;
        content.width = 4;
        content.height = 1;
        content.rows = {0, 50, 128, 255};
        content.gamma = gamma;
        EXPECT_EQ(pixels(encodePng(content)),
                  (Bytes{0, 0, 0, 255, 50, 50, 50, 255, 128, 128, 128, 255, 255, 255, 255, 255}))
            << gamma;
        std::free(image.access.direct.data);
        image.flags = IMG_FORMAT;
    }
}

TEST_F(ImageLibrary, ScalesSixteenBitsToEight) {
    PngContent content;
    content.width = 5;
    content.height = 1;
    content.bitDepth = 16;
    content.colorType = PNG_COLOR_TYPE_GRAY_ALPHA;
    content.rows = {0x00, 0x00, 0xff, 0xff, 0x80, 0x80, 0x80, 0x80, 0x01, 0x81,
                    0x00, 0x00, 0x7f, 0x00, 0xff, 0xff, 0xff, 0xff, 0x40, 0x40};
    EXPECT_EQ(pixels(encodePng(content)), (Bytes{0, 0, 0,   255, 128, 128, 128, 128, 1,   1,
                                                 1, 0, 127, 127, 127, 255, 255, 255, 255, 64}));
}

TEST_F(ImageLibrary, ExpandsSmallGreys) {
    const struct {
        int bitDepth;
        uint8_t row;
        Bytes greys;
    } cases[] = {
        {1, 0b01000000, {0, 255}},
        {2, 0b01100000, {85, 170}},
        {4, 0x3c, {51, 204}},
    };
    for (const auto& each : cases) {
        PngContent content;
        content.width = 2;
        content.height = 1;
        content.bitDepth = each.bitDepth;
        content.rows = {each.row};
        const uint8_t left = each.greys[0], right = each.greys[1];
        EXPECT_EQ(pixels(encodePng(content)),
                  (Bytes{left, left, left, 255, right, right, right, 255}))
            << each.bitDepth << " bits";
        std::free(image.access.direct.data);
        image.flags = IMG_FORMAT;
    }
}

TEST_F(ImageLibrary, LooksUpPaletteColorsAndTheirAlpha) {
    PngContent content;
    content.width = 3;
    content.height = 1;
    content.colorType = PNG_COLOR_TYPE_PALETTE;
    content.palette = {9, 8, 7, 200, 100, 50, 1, 1, 1};
    content.paletteAlpha = {77, 0};
    content.rows = {1, 0, 2};
    EXPECT_EQ(pixels(encodePng(content)), (Bytes{200, 100, 50, 0, 9, 8, 7, 77, 1, 1, 1, 255}));
}

TEST_F(ImageLibrary, ClearsTheTransparentGrey) {
    PngContent content;
    content.width = 3;
    content.height = 1;
    content.transparentGrey = 50;
    content.rows = {49, 50, 51};
    EXPECT_EQ(pixels(encodePng(content)), (Bytes{49, 49, 49, 255, 50, 50, 50, 0, 51, 51, 51, 255}));
}

TEST_F(ImageLibrary, ClearsTheTransparentColor) {
    PngContent content;
    content.width = 2;
    content.height = 1;
    content.colorType = PNG_COLOR_TYPE_RGB;
    content.transparentColor = {0, 10, 0, 20, 0, 30};
    content.rows = {10, 20, 30, 10, 20, 31};
    EXPECT_EQ(pixels(encodePng(content)), (Bytes{10, 20, 30, 0, 10, 20, 31, 255}));
}

TEST_F(ImageLibrary, PutsInterlacedRowsInOrder) {
    PngContent content;
    content.width = 19;
    content.height = 13;
    content.colorType = PNG_COLOR_TYPE_RGB_ALPHA;
    content.interlaced = true;
    for (uint32_t i = 0; i < content.width * content.height * 4; ++i)
        content.rows.push_back(static_cast<uint8_t>(i * 7 + i / 251));
    EXPECT_EQ(pixels(encodePng(content)), content.rows);
}

TEST_F(ImageLibrary, DecodesAColorJpeg) {
    const Bytes decoded = pixels(encodeJpeg(jpegOf(200, 60, 20)));
    ASSERT_EQ(decoded.size(), 16u * 8 * 4);
    for (size_t i = 0; i < decoded.size(); i += 4) {
        ASSERT_NEAR(decoded[i], 200, 2) << i;
        ASSERT_NEAR(decoded[i + 1], 60, 2) << i;
        ASSERT_NEAR(decoded[i + 2], 20, 2) << i;
        ASSERT_EQ(decoded[i + 3], 255) << i;
    }
}

TEST_F(ImageLibrary, PutsAJpegsFirstRowOnTop) {
    JpegContent content = jpegOf(255, 255, 255);
    std::fill(content.rgb.begin(), content.rgb.begin() + 16 * 3, uint8_t{0});
    const Bytes decoded = pixels(encodeJpeg(content));
    ASSERT_EQ(decoded.size(), 16u * 8 * 4);
    EXPECT_LT(decoded[0], 30);
    EXPECT_GT(decoded[16 * 7 * 4], 225);
}

TEST_F(ImageLibrary, DecodesAGreyJpeg) {
    JpegContent content = jpegOf(99, 99, 99);
    content.grey = true;
    const Bytes decoded = pixels(encodeJpeg(content));
    ASSERT_EQ(decoded.size(), 16u * 8 * 4);
    EXPECT_EQ(Bytes(decoded.begin(), decoded.begin() + 4), (Bytes{99, 99, 99, 255}));
}

TEST_F(ImageLibrary, DecodesAProgressiveJpegLikeABaselineOne) {
    JpegContent content = jpegOf(1, 120, 240);
    const Bytes baseline = pixels(encodeJpeg(content));
    std::free(image.access.direct.data);
    image.flags = IMG_FORMAT;
    content.progressive = true;
    EXPECT_EQ(pixels(encodeJpeg(content)), baseline);
}

TEST_F(ImageLibrary, RefusesAPrintersJpeg) {
    EXPECT_EQ(load(encodeCmykJpeg(8, 8)), IMG_ERR_NOSUPPORT);
}

TEST_F(ImageLibrary, ToldApartByContentNotByName) {
    const std::string path = folder.file("picture.jpg");
    writeFile(path, encodePng(colorPng()));
    EXPECT_EQ(img_load_file(library, path.c_str(), nullptr, &image), IMG_ERR_OK);
}

TEST_F(ImageLibrary, RefusesUnknownKinds) {
    EXPECT_EQ(load({'G', 'I', 'F', '8', '9', 'a', 0, 0, 0, 0, 0, 0}), IMG_ERR_FORMAT);
    EXPECT_EQ(load({0x89, 'P', 'N', 'G'}), IMG_ERR_FORMAT);
    EXPECT_EQ(load({0xff}), IMG_ERR_FORMAT);
}

TEST_F(ImageLibrary, RefusesAnEmptyFile) {
    EXPECT_EQ(load({}), IMG_ERR_NODATA);
}

TEST_F(ImageLibrary, ReportsAMissingFileWithErrno) {
    errno = 0;
    EXPECT_EQ(img_load_file(library, folder.file("none").c_str(), nullptr, &image), IMG_ERR_FILE);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ImageLibrary, ReportsAFolder) {
    errno = 0;
    EXPECT_EQ(img_load_file(library, folder.path().c_str(), nullptr, &image), IMG_ERR_FILE);
    EXPECT_EQ(errno, EISDIR);
}

// Opening it for reading would wait for a writer.
TEST_F(ImageLibrary, ReportsAPipeWithoutWaitingForIt) {
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    errno = 0;
    EXPECT_EQ(img_load_file(library, pipe.c_str(), nullptr, &image), IMG_ERR_FILE);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(ImageLibrary, RefusesOtherOutputFormats) {
    image.format = static_cast<img_format_t>(0x10 | IMG_FMT_RGB);
    EXPECT_EQ(load(encodePng(colorPng())), IMG_ERR_NOSUPPORT);
}

TEST_F(ImageLibrary, RefusesToClip) {
    image.flags = IMG_FORMAT | IMG_W;
    EXPECT_EQ(load(encodePng(colorPng())), IMG_ERR_NOSUPPORT);
}

TEST_F(ImageLibrary, RefusesBadArguments) {
    EXPECT_EQ(img_lib_attach(nullptr), IMG_ERR_PARM);
    EXPECT_EQ(img_load_file(nullptr, "x", nullptr, &image), IMG_ERR_PARM);
    EXPECT_EQ(img_load_file(library, nullptr, nullptr, &image), IMG_ERR_PARM);
    EXPECT_EQ(img_load_file(library, "x", nullptr, nullptr), IMG_ERR_PARM);
}

TEST_F(ImageLibrary, HasNoCallouts) {
    const auto* callouts = reinterpret_cast<const img_decode_callouts_t*>(this);
    EXPECT_EQ(img_load_file(library, "x", callouts, &image), IMG_ERR_NOTIMPL);
}

TEST_F(ImageLibrary, LeavesTheRequestAloneOnFailure) {
    img_t before;
    std::memcpy(&before, &image, sizeof image);
    EXPECT_EQ(load({'x'}), IMG_ERR_FORMAT);
    EXPECT_EQ(std::memcmp(&before, &image, sizeof image), 0);
}

TEST_F(ImageLibrary, RefusesAPngCutAnywhere) {
    const Bytes file = encodePng(colorPng());
    for (size_t size = 8; size < file.size(); ++size) {
        ASSERT_EQ(load(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size))),
                  IMG_ERR_TRUNC)
            << size;
    }
}

TEST_F(ImageLibrary, RefusesAPngWithABitTurnedInThePicture) {
    const Bytes file = encodePng(colorPng());
    size_t at = 8;
    for (const PngChunk& chunk : splitPngChunks(file)) {
        if (chunk.type == "IHDR" || chunk.type == "IDAT") {
            for (size_t i = at + 8; i < at + 12 + chunk.data.size(); ++i) {
                Bytes broken = file;
                broken[i] ^= 0x10;
                const int error = load(broken);
                ASSERT_TRUE(error == IMG_ERR_CORRUPT || error == IMG_ERR_NOSUPPORT) << i;
            }
        }
        at += chunk.data.size() + 12;
    }
}

TEST_F(ImageLibrary, RefusesAPngWithTooFewRows) {
    const Bytes oneRow = deflated(Bytes(1 + 3 * 4, 0));
    EXPECT_EQ(load(joinPngChunks({{"IHDR", headerData(3, 2)}, {"IDAT", oneRow}, {"IEND", {}}})),
              IMG_ERR_CORRUPT);
}

TEST_F(ImageLibrary, RefusesAPngWithoutAHeader) {
    EXPECT_EQ(load(joinPngChunks({{"IDAT", {}}, {"IEND", {}}})), IMG_ERR_CORRUPT);
    EXPECT_EQ(load(joinPngChunks({{"IEND", {}}})), IMG_ERR_CORRUPT);
}

TEST_F(ImageLibrary, RefusesSidesBeyondItsLimits) {
    const struct {
        uint32_t width, height;
        int error;
    } cases[] = {
        {0, 2, IMG_ERR_CORRUPT},
        {3, 0, IMG_ERR_CORRUPT},
        {16385, 1, IMG_ERR_NOSUPPORT},
        {1, 16385, IMG_ERR_NOSUPPORT},
        {16384, 3907, IMG_ERR_NOSUPPORT},  // more than 64 million in all
        {8000, 8001, IMG_ERR_NOSUPPORT},
        {0x7fffffff, 1, IMG_ERR_NOSUPPORT},
        {0xffffffff, 0xffffffff, IMG_ERR_NOSUPPORT},
    };
    for (const auto& each : cases) {
        const Bytes header = headerData(each.width, each.height);
        const Bytes rows = deflated({0, 0, 0, 0, 0});
        EXPECT_EQ(load(joinPngChunks({{"IHDR", header}, {"IDAT", rows}, {"IEND", {}}})), each.error)
            << each.width << " x " << each.height;
    }
}

TEST_F(ImageLibrary, TakesTheLargestSide) {
    PngContent content;
    content.width = 16384;
    content.height = 1;
    content.rows = Bytes(16384, 7);
    EXPECT_EQ(pixels(encodePng(content)).size(), 16384u * 4);
}

TEST_F(ImageLibrary, RefusesAJpegCutAnywhere) {
    const Bytes file = encodeJpeg(jpegOf(10, 200, 100));
    for (size_t size = 3; size < file.size(); ++size) {
        ASSERT_EQ(load(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size))),
                  IMG_ERR_TRUNC)
            << size;
    }
}

TEST_F(ImageLibrary, RefusesAJpegWithARottenHuffmanTable) {
    Bytes file = encodeJpeg(jpegOf(10, 200, 100));
    for (size_t i = 2; i + 20 < file.size(); ++i) {
        if (file[i] == 0xff && file[i + 1] == 0xc4)
            std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(i + 5), 16, uint8_t{0xfe});
    }
    EXPECT_EQ(load(file), IMG_ERR_CORRUPT);
}

TEST_F(ImageLibrary, RefusesAnAbsurdJpeg) {
    Bytes file = encodeJpeg(jpegOf(10, 200, 100));
    for (size_t i = 2; i + 8 < file.size(); ++i) {
        if (file[i] == 0xff && file[i + 1] == 0xc0) {
            file[i + 5] = file[i + 7] = 0x40;  // height and width 0x40xx
            file[i + 6] = file[i + 8] = 0x01;
            break;
        }
    }
    EXPECT_EQ(load(file), IMG_ERR_NOSUPPORT);
}

// A progressive file whose last scan stands there `more` times more.
Bytes withScans(int more) {
    JpegContent content = jpegOf(10, 200, 100);
    content.progressive = true;
    Bytes file = encodeJpeg(content);
    const uint8_t start[] = {0xff, 0xda};
    const auto last = std::find_end(file.begin(), file.end(), std::begin(start), std::end(start));
    const Bytes scan(last, file.end() - 2);
    for (int i = 0; i < more; ++i)
        file.insert(file.end() - 2, scan.begin(), scan.end());
    return file;
}

TEST_F(ImageLibrary, RefusesAJpegOfMoreScansThanACameraWrites) {
    const Bytes file = withScans(0);
    const uint8_t start[] = {0xff, 0xda};
    int scans = 0;
    for (auto at = file.begin(); at != file.end(); ++scans) {
        at = std::search(at, file.end(), std::begin(start), std::end(start));
        if (at == file.end())
            break;
        at += 2;
    }
    ASSERT_GT(scans, 1);
    EXPECT_NE(load(withScans(64 - scans)), IMG_ERR_NOSUPPORT);
    EXPECT_EQ(load(withScans(65 - scans)), IMG_ERR_NOSUPPORT);
    EXPECT_EQ(load(withScans(1000)), IMG_ERR_NOSUPPORT);
}

TEST_F(ImageLibrary, SurvivesAnyByteOfAJpegTurned) {
    const Bytes file = encodeJpeg(jpegOf(10, 200, 100));
    for (size_t i = 0; i < file.size(); ++i) {
        for (const uint8_t mask : {0x01, 0x80, 0xff}) {
            Bytes broken = file;
            broken[i] ^= mask;
            const int error = load(broken);
            ASSERT_TRUE(error >= IMG_ERR_OK && error <= IMG_ERR_MEM) << i;
            ASSERT_EQ((image.flags & IMG_DIRECT) != 0, error == IMG_ERR_OK) << i;
            if (error == IMG_ERR_OK)
                std::free(image.access.direct.data);
            image.flags = IMG_FORMAT;
        }
    }
}

}  // namespace
