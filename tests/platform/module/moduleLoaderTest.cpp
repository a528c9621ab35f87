// Loading modules: what one offers works through the program's own functions, and what cannot be
// loaded is one line.
#include "module/moduleLoader.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include "dispatch/eventLoop.h"
#include "platform/module/sampleModule.h"

namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::MatchesRegex;
using testing::StartsWith;

const Sample* sample() {
    return loadRecord<Sample>("sample");
}

// What loading prints when it fails.
std::string refusalOf(const char* name) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(moduleRecord(name), nullptr);
    return testing::internal::GetCapturedStderr();
}

// A file of that text where modules are looked for.
class ModuleFile {
public:
    ModuleFile(const std::string& name, const std::string& text)
        : path_(fs::read_symlink("/proc/self/exe").parent_path() / ("velkaris-" + name + ".so")) {
        std::ofstream(path_) << text;
    }
    ~ModuleFile() { fs::remove(path_); }

    std::string path() const { return path_; }

private:
    fs::path path_;
};

// The file of a library of this process.
std::string pathOfLoaded(const std::string& name) {
    std::ifstream maps("/proc/self/maps");
    for (std::string word; maps >> word;) {
        if (word.find(name) != std::string::npos)
            return word;
    }
    return "";
}

TEST(ModuleLoader, GivesTheSameRecordEachTime) {
    ASSERT_NE(sample(), nullptr);
    EXPECT_EQ(sample(), sample());
}

TEST(ModuleLoader, AModuleWatchesInTheEventLoopOfTheProgram) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    int count = 0;
    ASSERT_TRUE(sample()->watch(ends[0], &count));
    // The program knows the descriptor already, so it is the same loop.
    EXPECT_FALSE(eventLoopWatch(
        ends[0], [](void*) {}, nullptr));
    EXPECT_EQ(errno, EEXIST);
    sample()->forget(ends[0]);
    EXPECT_TRUE(eventLoopWatch(
        ends[0], [](void*) {}, nullptr));
    eventLoopForget(ends[0]);
    close(ends[0]);
    close(ends[1]);
}

TEST(ModuleLoader, AModuleSpeaksThroughTheProgram) {
    testing::internal::CaptureStderr();
    sample()->say("100 %s");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "velkaris: sample: 100 %s\n");
}

TEST(ModuleLoader, SaysWhereAMissingModuleWasLookedFor) {
    const std::string folder = fs::read_symlink("/proc/self/exe").parent_path();
    const std::string line = refusalOf("missing");
    EXPECT_THAT(line, StartsWith("velkaris: velkaris-missing.so: neither in " + folder +
                                 "/ nor in " + folder + "/.."));
    EXPECT_THAT(line, EndsWith("/velkaris/\n"));
}

TEST(ModuleLoader, SaysItOnce) {
    refusalOf("missingTwice");
    EXPECT_EQ(refusalOf("missingTwice"), "");
}

TEST(ModuleLoader, RefusesAModuleOfAnotherRelease) {
    EXPECT_THAT(refusalOf("otherRelease"),
                MatchesRegex("velkaris: [^\n]*/velkaris-otherRelease.so: is of release 99.0, this "
                             "console is of " PROJECT_RELEASE "\n"));
}

TEST(ModuleLoader, RefusesAFileThatIsNoSharedObject) {
    const ModuleFile file("text", "text");
    EXPECT_THAT(refusalOf("text"), StartsWith("velkaris: module: " + file.path() + ": "));
}

TEST(ModuleLoader, RefusesASharedObjectThatIsNoModule) {
    const ModuleFile file("library", "");
    fs::copy_file(pathOfLoaded("/libm.so"), file.path(), fs::copy_options::overwrite_existing);
    EXPECT_EQ(refusalOf("library"), "velkaris: " + file.path() + ": is no module of a console\n");
}

}  // namespace
