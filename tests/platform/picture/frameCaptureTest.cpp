// The kept frames: their names, that each appears whole, and that trouble costs one line.
#include "picture/frameCapture.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "platform/support/memoryPicture.h"
#include "platform/support/pictureFiles.h"
#include "support/temporaryFolder.h"

namespace {

namespace fs = std::filesystem;

// One frame of two rows of two pixels, no two alike.
class SmallPicture : public MemoryPicture {
public:
    SmallPicture() : MemoryPicture({2, 2}) {
        show({0xff070809, 0xff0a0b0c, 0xff010203, 0xff040506});
    }
};

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

// What it prints while it fails that often.
std::string errorsOf(FrameCapture* capture, int frames) {
    const SmallPicture picture;
    testing::internal::CaptureStderr();
    for (int i = 0; i < frames; ++i)
        EXPECT_FALSE(capture->write(picture));
    return testing::internal::GetCapturedStderr();
}

// Files of this process can't grow beyond `bytes` while it lives, as if the disk were full.
class SmallDisk {
public:
    explicit SmallDisk(rlim_t bytes) {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit small{bytes, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallDisk() { setrlimit(RLIMIT_FSIZE, &before); }

private:
    rlimit before{};
};

TEST(FrameCapture, CountsFramesFromOne) {
    const TemporaryFolder folder;
    FrameCapture capture(folder.path());
    EXPECT_TRUE(capture.write(SmallPicture()));
    EXPECT_TRUE(capture.write(SmallPicture()));
    EXPECT_EQ(namesIn(folder.path()),
              (std::set<std::string>{"frame-000001.png", "frame-000002.png", "latest.png"}));
}

TEST(FrameCapture, WritesTheTopRowFirstAndNoAlpha) {
    const TemporaryFolder folder;
    FrameCapture capture(folder.path());
    capture.write(SmallPicture());
    const DecodedPicture picture = readPng(folder.file("frame-000001.png"));
    EXPECT_EQ(picture.rgba, (Bytes{7, 8, 9, 255, 10, 11, 12, 255, 1, 2, 3, 255, 4, 5, 6, 255}));
}

// Takes only the rows that changed, but a file has all of them.
TEST(FrameCapture, WritesRowsThatDidNotChangeAgain) {
    const TemporaryFolder folder;
    FrameCapture capture(folder.path());
    SmallPicture picture;
    capture.write(picture);
    picture.show({0xff070809, 0xff0a0b0c, 0xff141516, 0xff040506});
    picture.show({0xff070809, 0xff1e1f20, 0xff141516, 0xff040506});
    capture.write(picture);
    capture.write(picture);
    const Bytes expected{7, 8, 9, 255, 30, 31, 32, 255, 20, 21, 22, 255, 4, 5, 6, 255};
    EXPECT_EQ(readPng(folder.file("frame-000002.png")).rgba, expected);
    EXPECT_EQ(readPng(folder.file("frame-000003.png")).rgba, expected);
}

TEST(FrameCapture, WritesEightBitColorWithoutAnAlphaChannel) {
    const TemporaryFolder folder;
    FrameCapture capture(folder.path());
    capture.write(SmallPicture());
    const Bytes header = splitPngChunks(readFile(folder.file("frame-000001.png")))[0].data;
    EXPECT_EQ(header[8], 8);  // bits a sample
    EXPECT_EQ(header[9], 2);  // red, green, blue
}

TEST(FrameCapture, PointsLatestAtTheNewestByName) {
    const TemporaryFolder folder;
    FrameCapture capture(folder.path());
    SmallPicture picture;
    capture.write(picture);
    picture.show({0xff010101, 0xff0a0b0c, 0xff010203, 0xff040506});
    capture.write(picture);
    EXPECT_EQ(fs::read_symlink(folder.file("latest.png")), "frame-000002.png");
    EXPECT_EQ(readPng(folder.file("latest.png")).at(0, 0), (Bytes{1, 1, 1, 255}));
}

TEST(FrameCapture, MakesTheFolder) {
    const TemporaryFolder folder;
    FrameCapture capture(folder.file("frames"));
    EXPECT_TRUE(capture.write(SmallPicture()));
    EXPECT_TRUE(fs::exists(folder.file("frames/latest.png")));
}

TEST(FrameCapture, ReplacesFramesOfAnEarlierRun) {
    const TemporaryFolder folder;
    writeFile(folder.file("frame-000001.png"), {'o', 'l', 'd'});
    writeFile(folder.file("latest.png"), {'o', 'l', 'd'});
    FrameCapture capture(folder.path());
    EXPECT_TRUE(capture.write(SmallPicture()));
    EXPECT_EQ(readPng(folder.file("frame-000001.png")).width, 2u);
    EXPECT_TRUE(fs::is_symlink(folder.file("latest.png")));
}

// A reader that has the old file open keeps a whole picture: the new one is another file.
TEST(FrameCapture, NeverWritesIntoAFileThatHasItsName) {
    const TemporaryFolder folder;
    writeFile(folder.file("frame-000001.png"), {'o', 'l', 'd'});
    fs::create_hard_link(folder.file("frame-000001.png"), folder.file("reader"));
    FrameCapture capture(folder.path());
    capture.write(SmallPicture());
    EXPECT_EQ(readFile(folder.file("reader")), (Bytes{'o', 'l', 'd'}));
}

TEST(FrameCapture, SaysOnceThatTheFolderCannotBeMade) {
    const TemporaryFolder folder;
    writeFile(folder.file("file"), {'x'});
    FrameCapture capture(folder.file("file") + "/frames");
    EXPECT_THAT(errorsOf(&capture, 3),
                testing::MatchesRegex("velkaris: capture: [^\n]*Not a directory[^\n]*\n"));
}

TEST(FrameCapture, GoesOnAfterAFrameThatThereWasNoMemoryFor) {
    struct LargePicture : SmallPicture {
        void fill(const RowSpan& rows, uint32_t* pixels, size_t stride) const override {
            if (isTooLarge)
                throw std::bad_alloc();
            SmallPicture::fill(rows, pixels, stride);
        }
        bool isTooLarge = true;
    } picture;
    const TemporaryFolder folder;
    FrameCapture capture(folder.path());
    testing::internal::CaptureStderr();
    EXPECT_FALSE(capture.write(picture));
    EXPECT_FALSE(capture.write(picture));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "velkaris: capture: " + folder.path() + ": no memory for a picture (said once)\n");
    picture.isTooLarge = false;
    EXPECT_TRUE(capture.write(picture));
    EXPECT_EQ(readPng(folder.file("frame-000003.png")).at(0, 0), (Bytes{7, 8, 9, 255}));
}

TEST(FrameCapture, CountsTheFramesThatItCouldNotKeep) {
    const TemporaryFolder folder;
    writeFile(folder.file("frames"), {'x'});
    FrameCapture capture(folder.file("frames"));
    errorsOf(&capture, 1);
    fs::remove(folder.file("frames"));
    EXPECT_TRUE(capture.write(SmallPicture()));
    EXPECT_TRUE(fs::exists(folder.file("frames/frame-000002.png")));
}

TEST(FrameCapture, LeavesNoTemporaryFileBehindAFailure) {
    const TemporaryFolder folder;
    fs::create_directories(folder.file("frame-000001.png/inside"));
    FrameCapture capture(folder.path());
    errorsOf(&capture, 1);
    EXPECT_EQ(namesIn(folder.path()), (std::set<std::string>{"frame-000001.png"}));
}

TEST(FrameCapture, LeavesNoTemporaryLinkBehindAFailure) {
    const TemporaryFolder folder;
    fs::create_directories(folder.file("latest.png/inside"));
    FrameCapture capture(folder.path());
    errorsOf(&capture, 1);
    EXPECT_EQ(namesIn(folder.path()), (std::set<std::string>{"frame-000001.png", "latest.png"}));
}

TEST(FrameCapture, LeavesNothingOfASmallFrameOnAFullDisk) {
    const TemporaryFolder folder;
    FrameCapture capture(folder.path());
    testing::internal::CaptureStderr();
    {
        const SmallDisk disk(16);
        EXPECT_FALSE(capture.write(SmallPicture()));
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(namesIn(folder.path()), std::set<std::string>{});
}

TEST(FrameCapture, LeavesNothingOfALargeFrameOnAFullDisk) {
    const TemporaryFolder folder;
    FrameCapture capture(folder.path());
    std::vector<uint32_t> noise(400 * 300);
    uint32_t state = 1;
    for (uint32_t& pixel : noise)
        pixel = 0xff000000 | (state = state * 1664525 + 1013904223) >> 8;
    MemoryPicture picture({400, 300});
    picture.show(noise);
    {
        const SmallDisk disk(100000);
        testing::internal::CaptureStderr();
        EXPECT_FALSE(capture.write(picture));
        testing::internal::GetCapturedStderr();
    }
    EXPECT_EQ(namesIn(folder.path()), std::set<std::string>{});
    EXPECT_TRUE(capture.write(picture));
}

}  // namespace
