// What an install gives: everything here is used from an install into an empty folder, the way
// somebody would who has nothing else of the project.
#include <gmock/gmock.h>
#include <sys/utsname.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "client/support/command.h"
#include "client/support/fakeConsole.h"
#include "client/support/sentMessages.h"
#include "support/temporaryFolder.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

bool isThere(const std::string& program) {
    return runCommand({"/bin/sh", "-c", "command -v " + program}).status == 0;
}

class Installed : public testing::Test {
protected:
    static void SetUpTestSuite() {
        prefix = std::make_unique<TemporaryFolder>();
        for (const char* part : {"client", "docs/man", "examples"})
            installation =
                runCommand({CMAKE_COMMAND, "--install", std::string(BUILD_FOLDER) + "/" + part,
                            "--prefix", prefix->path()});
    }
    static void TearDownTestSuite() { prefix.reset(); }

    void SetUp() override { ASSERT_EQ(installation.status, 0) << installation.errors; }

    // Runs a script with the install in the way of shell, linker and pkg-config.
    Outcome shell(const std::string& script, Command::Environment more = {}) const {
        Command::Environment environment = {
            {"PREFIX", prefix->path()},
            {"SCRATCH", scratch.path()},
            {"VELKARIS_NODE", path},
            {"PATH", prefix->file("bin") + ":" + std::getenv("PATH")},
            {"LD_LIBRARY_PATH", prefix->file(LIBRARY_FOLDER)},
            {"PKG_CONFIG_PATH", prefix->file(LIBRARY_FOLDER) + "/pkgconfig"},
            {"BUILD_FLAGS", BUILD_FLAGS},
        };
        environment.merge(more);
        return runCommand({"/bin/sh", "-ec", script}, {}, environment);
    }
    std::string example(const std::string& name) const {
        return prefix->file(std::string(DOC_FOLDER) + "/examples/" + name);
    }
    void expectFlashingSession() {
        const std::vector<Received> received = node->received();
        EXPECT_EQ(received.front(), sentStatus("Flashing - do not switch off"));
        EXPECT_THAT(received, Contains(sentAdd("firmware", "Firmware", 0)));
        EXPECT_THAT(received, Contains(sentUpdate("firmware", 100)));
        EXPECT_EQ(received.back(), sentStatus("Done"));
    }

    static std::unique_ptr<TemporaryFolder> prefix;
    static Outcome installation;
    TemporaryFolder scratch;
    const std::string path = scratch.file("node");
    std::unique_ptr<FakeConsole> node = std::make_unique<FakeConsole>(path);
};

std::unique_ptr<TemporaryFolder> Installed::prefix;
Outcome Installed::installation{-1, {}, {}, 0};

TEST_F(Installed, TheExampleInCLinksThroughPkgConfig) {
    if (!isThere("pkg-config"))
        GTEST_SKIP() << "no pkg-config";
    const Outcome built =
        shell("cc -std=c99 -Wall -Wextra -Wpedantic -Werror $BUILD_FLAGS " + example("flashing.c") +
              " $(pkg-config --cflags --libs velkaris) -o $SCRATCH/flashing");
    ASSERT_EQ(built.status, 0) << built.errors;
    const Outcome run = shell("$SCRATCH/flashing");
    EXPECT_EQ(run.status, 0) << run.errors;
    expectFlashingSession();
}

TEST_F(Installed, TheExampleInCLinksTheArchive) {
    if (!isThere("pkg-config"))
        GTEST_SKIP() << "no pkg-config";
    const Outcome built = shell(
        "rm -rf $SCRATCH/only && mkdir $SCRATCH/only && cp $PREFIX/" LIBRARY_FOLDER
        "/libvelkaris.a $SCRATCH/only && cc -std=c99 $BUILD_FLAGS " +
        example("flashing.c") +
        " $(pkg-config --cflags velkaris) -L$SCRATCH/only "
        "$(pkg-config --static --libs-only-l --libs-only-other velkaris) -o $SCRATCH/flashing");
    ASSERT_EQ(built.status, 0) << built.errors;
    EXPECT_EQ(shell("$SCRATCH/flashing", {{"LD_LIBRARY_PATH", ""}}).status, 0);
    expectFlashingSession();
}

TEST_F(Installed, TheExampleInCSaysThatNoConsoleIsThere) {
    const Outcome built =
        shell("cc -std=c99 $BUILD_FLAGS " + example("flashing.c") +
              " -I$PREFIX/include -L$PREFIX/" LIBRARY_FOLDER " -lvelkaris -o $SCRATCH/flashing");
    ASSERT_EQ(built.status, 0) << built.errors;
    node.reset();
    const Outcome run = shell("$SCRATCH/flashing");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "flashing: no console is there\n");
}

TEST_F(Installed, TheExampleInShellRuns) {
    const Outcome run = shell("printf image > $SCRATCH/image; " + example("flashing.sh") +
                              " $SCRATCH/image $SCRATCH/device");
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(node->received(), Contains(sentUpdate("image", 100)));
    EXPECT_THAT(node->received(), Contains(sentUpdate("compare", 100)));
    EXPECT_THAT(node->received(), Contains(sentText("Read back and compared\n")));
    EXPECT_EQ(node->received().back(), sentStatus("Done"));
}

TEST_F(Installed, TheExampleInPythonRuns) {
    if (std::string(BUILD_FLAGS).find("sanitize") != std::string::npos)
        GTEST_SKIP() << "the interpreter does not load a library with sanitizers";
    if (!isThere("python3"))
        GTEST_SKIP() << "no python3";
    const Outcome run = shell(example("flashing.py"));
    EXPECT_EQ(run.status, 0) << run.errors;
    expectFlashingSession();
    node.reset();
    const Outcome alone = shell(example("flashing.py"));
    EXPECT_EQ(alone.status, 1);
    EXPECT_EQ(alone.errors, "flashing: no console is there\n");
}

// What velkaris(7) describes, for those who speak to the node themselves.
constexpr char kOwnWords[] =
    "#include <velkaris/devctlSocket.h>\n"
    "#include <velkaris/protocol.h>\n"
    "int main(void) {\n"
    "    const char path[] = NODE;\n"
    "    int32_t percent = 7;\n"
    "    int fd = devctl_open(path, O_WRONLY);\n"
    "    int error = fd < 0 ? 1 : devctl(fd, (int)DCMD_CONSOLE_SET_PERCENT, &percent,\n"
    "                                    sizeof(percent), 0);\n"
    "    return error || devctl_write(fd, \"hello\", 5) != 5 || close(fd) != 0;\n"
    "}\n";

TEST_F(Installed, AProgramCanSpeakTheProtocolItself) {
    if (!isThere("pkg-config"))
        GTEST_SKIP() << "no pkg-config";
    std::ofstream(scratch.file("own.c")) << kOwnWords;
    for (const char* compiler :
         {"cc -std=c99", "cc -std=gnu11", "c++ -xc++ -std=c++98", "c++ -xc++ -std=c++17"}) {
        const Outcome built = shell(std::string(compiler) +
                                    " -Wall -Wextra -Wpedantic -Werror -DNODE=\"\\\"$VELKARIS_NODE"
                                    "\\\"\" $(pkg-config --cflags velkaris) $BUILD_FLAGS "
                                    "$SCRATCH/own.c -o $SCRATCH/own");
        ASSERT_EQ(built.status, 0) << compiler << "\n" << built.errors;
        EXPECT_EQ(shell("$SCRATCH/own").status, 0) << compiler;
    }
    EXPECT_EQ(node->received().size(), 8u);
    EXPECT_THAT(node->received(), Contains(sentPercent(7)));
    EXPECT_EQ(node->received().back(), sentText("hello"));
}

TEST_F(Installed, TheHeaderOfTheLibraryIsAlsoOldCPlusPlus) {
    std::ofstream(scratch.file("user.cpp")) << "#include <velkaris/velkaris.h>\n";
    const Outcome built = shell(
        "c++ -std=c++98 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I$PREFIX/include "
        "$SCRATCH/user.cpp");
    EXPECT_EQ(built.status, 0) << built.errors;
}

TEST_F(Installed, ACMakeProjectFindsThePackage) {
    std::ofstream(scratch.file("CMakeLists.txt"))
        << "cmake_minimum_required(VERSION 3.25)\nproject(user LANGUAGES C)\n"
           "find_package(velkaris REQUIRED)\n"
           "add_executable(shared user.c)\ntarget_link_libraries(shared velkaris::velkaris)\n"
           "add_executable(static user.c)\n"
           "target_link_libraries(static velkaris::velkaris-static)\n";
    std::ofstream(scratch.file("user.c"))
        << "#include <velkaris/protocol.h>\n"
           "#include <velkaris/velkaris.h>\n"
           "int main(void) {\n"
           "    velkaris_console* console = 0;\n"
           "    int error = velkaris_open(&console, 0, 1000);\n"
           "    if (error == 0)\n"
           "        error = velkaris_write(console, \"hello\", 5);\n"
           "    velkaris_close(console);\n"
           "    return error;\n"
           "}\n";
    const Outcome built =
        shell(CMAKE_COMMAND
              " -G Ninja -S $SCRATCH -B $SCRATCH/build -DCMAKE_PREFIX_PATH=$PREFIX "
              "-DCMAKE_C_FLAGS=\"$BUILD_FLAGS\" && " CMAKE_COMMAND " --build $SCRATCH/build");
    ASSERT_EQ(built.status, 0) << built.output << built.errors;
    EXPECT_EQ(shell("$SCRATCH/build/shared && $SCRATCH/build/static").status, 0);
    EXPECT_THAT(node->received(), ElementsAre(sentText("hello"), sentText("hello")));
}

TEST_F(Installed, TheLibraryExportsThePublicFunctionsAlone) {
    const Outcome symbols =
        shell("nm -D --defined-only $PREFIX/" LIBRARY_FOLDER "/libvelkaris.so | grep -v ' A '");
    std::istringstream lines(symbols.output);
    size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        EXPECT_THAT(line, HasSubstr(" T velkaris_"));
    EXPECT_EQ(count, 14u);
    EXPECT_THAT(shell("readelf -d $PREFIX/" LIBRARY_FOLDER "/libvelkaris.so").output,
                HasSubstr("soname: [libvelkaris.so." SOVERSION "]"));
}

TEST_F(Installed, NothingNamesTheFolderThatItWasBuiltIn) {
    const Outcome found = shell("grep -rIl '" SOURCE_FOLDER "' $PREFIX || true");
    EXPECT_EQ(found.output, "");
}

}  // namespace
