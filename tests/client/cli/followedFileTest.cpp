#include "cli/followedFile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>

#include "support/temporaryFolder.h"

namespace {

using Event = FollowedFile::Event;

class FollowedFileTest : public testing::Test {
protected:
    void write(const std::string& text) const { std::ofstream(path) << text; }
    void append(const std::string& text) const { std::ofstream(path, std::ios::app) << text; }
    std::string news(Event expected = Event::none) {
        std::string bytes;
        EXPECT_EQ(file.read(&bytes), expected);
        return bytes;
    }

    TemporaryFolder folder;
    const std::string path = folder.file("log");
    FollowedFile file{path};
};

TEST_F(FollowedFileTest, BeginsWithTheLastLines) {
    struct Case {
        const char* content;
        unsigned int lines;
        const char* shown;
    };
    for (const Case& one : {Case{"a\nb\nc\n", 2, "b\nc\n"}, Case{"a\nb\nc", 2, "b\nc"},
                            Case{"a\nb\n", 2, "a\nb\n"}, Case{"a\n", 5, "a\n"}, Case{"a\nb", 0, ""},
                            Case{"a\n", 0, ""}, Case{"\n\n\n", 2, "\n\n"}, Case{"", 3, ""}}) {
        write(one.content);
        FollowedFile begun(path);
        ASSERT_EQ(begun.open(one.lines), 0);
        std::string bytes;
        begun.read(&bytes);
        EXPECT_EQ(bytes, one.shown) << one.content << one.lines;
    }
}

TEST_F(FollowedFileTest, FindsTheLastLinesOfALargeFile) {
    std::string all;
    for (int i = 0; i < 100000; ++i)
        all += std::to_string(i) + "\n";
    write(all);
    ASSERT_EQ(file.open(20000), 0);
    std::string shown;
    for (std::string piece = news(); !piece.empty(); piece = news())
        shown += piece;
    EXPECT_EQ(shown, all.substr(all.find("\n80000\n") + 1));
}

TEST_F(FollowedFileTest, GivesWhatIsAppended) {
    write("old\n");
    ASSERT_EQ(file.open(0), 0);
    EXPECT_EQ(news(), "");
    append("new\n");
    EXPECT_EQ(news(), "new\n");
    EXPECT_EQ(news(), "");
}

TEST_F(FollowedFileTest, ReadsAReplacedFileToItsEndFirst) {
    write("one\n");
    ASSERT_EQ(file.open(1), 0);
    EXPECT_EQ(news(), "one\n");
    append("two\n");
    std::filesystem::rename(path, folder.file("log.1"));
    write("three\n");
    EXPECT_EQ(news(), "two\n");
    EXPECT_EQ(news(Event::succeeded), "");
    EXPECT_EQ(news(Event::replaced), "");
    EXPECT_EQ(news(), "three\n");
}

TEST_F(FollowedFileTest, BeginsAgainWhenTheFileIsCut) {
    write("a long first line\n");
    ASSERT_EQ(file.open(0), 0);
    write("new\n");
    EXPECT_EQ(news(Event::cut), "");
    EXPECT_EQ(news(), "new\n");
}

TEST_F(FollowedFileTest, ReadsWhatCameWhileItLookedForTheNextFile) {
    write("one\n");
    ASSERT_EQ(file.open(0), 0);
    std::filesystem::rename(path, folder.file("log.1"));
    write("three\n");
    EXPECT_EQ(news(Event::succeeded), "");
    std::ofstream(folder.file("log.1"), std::ios::app) << "two\n";
    EXPECT_EQ(news(), "two\n");
    EXPECT_EQ(news(Event::replaced), "");
    EXPECT_EQ(news(), "three\n");
}

TEST_F(FollowedFileTest, KeepsToAFileUntilTheNextOneIsWrittenTo) {
    write("one\n");
    ASSERT_EQ(file.open(0), 0);
    std::filesystem::rename(path, folder.file("log.1"));
    write("");
    EXPECT_EQ(news(), "");
    std::ofstream(folder.file("log.1"), std::ios::app) << "two\n";
    EXPECT_EQ(news(), "two\n");
    EXPECT_EQ(news(), "");
    append("three\n");
    EXPECT_EQ(news(Event::succeeded), "");
    EXPECT_EQ(news(Event::replaced), "");
    EXPECT_EQ(news(), "three\n");
}

TEST_F(FollowedFileTest, WaitsForAFileThatIsNotThere) {
    EXPECT_EQ(file.open(10), ENOENT);
    EXPECT_EQ(news(), "");
    write("here\n");
    EXPECT_EQ(news(Event::appeared), "");
    EXPECT_EQ(news(), "here\n");
}

TEST_F(FollowedFileTest, TellsOnceThatTheFileIsGone) {
    write("x\n");
    ASSERT_EQ(file.open(0), 0);
    std::filesystem::remove(path);
    EXPECT_EQ(news(Event::gone), "");
    EXPECT_EQ(news(), "");
    write("y\n");
    EXPECT_EQ(news(Event::succeeded), "");
    EXPECT_EQ(news(Event::replaced), "");
    EXPECT_EQ(news(), "y\n");
}

TEST_F(FollowedFileTest, RefusesWhatCannotBeFollowed) {
    EXPECT_EQ(FollowedFile(folder.path()).open(1), EISDIR);
}

}  // namespace
