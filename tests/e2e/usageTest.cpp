// The command line as a caller sees it: bytes, streams and exit status.
#include <gtest/gtest.h>

#include "support/childProcess.h"
#include "support/consoleProcess.h"

namespace {

const char* const kUsage =
    "Velkaris -p <font path> [-R] [-l <logo image>] [-t <logo time>] [-B <background color>] "
    "[-F <foreground color>] [-S <status line color>] [-P <progrss bar name color>] "
    "[-f <font size>]\n";

struct UsageCase {
    std::vector<std::string> arguments;
    int status;
    std::string message;
};

}  // namespace

TEST(Usage, ErrorsAreSaidAndEndTheProgram) {
    const UsageCase kCases[] = {
        {{}, 1, "-p <font path> is mandatory option\n"},
        {{"-R", "-f", "12"}, 1, "-p <font path> is mandatory option\n"},
        {{"-p", "f.ttf", "extra"}, 1, "Error! Unexpected operand: extra\n"},
        {{"-p", "f.ttf", "extra", "more"}, 1, "Error! Unexpected operand: extra\n"},
        {{"extra", "-h"}, 1, "Error! Unexpected operand: extra\n"},
        {{"-p", "f.ttf", "extra", "-x"}, 1, "Error! Unexpected operand: extra\n"},
        {{"-p", "f.ttf", "--", "-x"}, 1, "Error! Unexpected operand: -x\n"},
        {{"-p", "f.ttf", "-"}, 1, "Error! Unexpected operand: -\n"},
        {{"-p", "f.ttf", "-x"}, 1, "Error! Unexpected option: -x\n"},
        {{"-x", "-h"}, 1, "Error! Unexpected option: -x\n"},
        {{"-Rx"}, 1, "Error! Unexpected option: -x\n"},
        {{"-p", "f.ttf", "-t"}, 1, "Error! Option argument missing: -t\n"},
        {{"-p"}, 1, "Error! Option argument missing: -p\n"},
        {{"-B"}, 1, "Error! Option argument missing: -B\n"},
        {{"-h", "-p", "f.ttf"}, 0, ""},
        {{"-p", "f.ttf", "-h"}, 0, ""},
        {{"-h", "-x"}, 0, ""},
    };
    const TemporaryFolder folder;
    for (const UsageCase& usage : kCases) {
        std::vector<std::string> command = {VELKARIS_PROGRAM};
        command.insert(command.end(), usage.arguments.begin(), usage.arguments.end());
        const CommandResult result = runCommand(folder.path(), command);
        const std::string shown = testing::PrintToString(usage.arguments);
        EXPECT_EQ(result.status, usage.status) << shown;
        EXPECT_EQ(result.errors, usage.message + kUsage) << shown;
        EXPECT_EQ(result.output, "") << shown;
    }
}

TEST(Usage, NothingIsLeftOfAStartThatWasRefused) {
    const TemporaryFolder folder;
    const std::string node = folder.path() + "/node";
    const CommandResult result =
        runCommand(folder.path(), {VELKARIS_PROGRAM, "-p", VELKARIS_TEST_FONT, "operand"},
                   {{"VELKARIS_NODE", node}});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(readFile(node), "");
    EXPECT_FALSE(isMounted(node));
}

TEST(Usage, AFontThatIsNoTrueTypeFontIsSaidOnStandardOutputAndTheStartGoesOn) {
    const TemporaryFolder folder;
    const std::string font = folder.path() + "/font";
    writePng(font, RgbImage(4, 4, {}));
    ConsoleOptions options;
    options.arguments = {"-p", font};
    ConsoleProcess console(options);
    ASSERT_TRUE(console.waitForFrame(2)) << console.errors();
    EXPECT_NE(console.output().find("\nFreeType: unknown file format\n"), std::string::npos);
    EXPECT_EQ(console.errors().find("FreeType"), std::string::npos);
}

TEST(Usage, AFontThatIsNotThereIsSaidOnStandardErrorAndTheStartGoesOn) {
    ConsoleOptions options;
    options.arguments = {"-p", "/nowhere.ttf"};
    ConsoleProcess console(options);
    ASSERT_TRUE(console.waitForFrame(2)) << console.errors();
    EXPECT_EQ(console.errors().rfind("FreeType: create new face failed, error: 1\n", 0), 0u)
        << console.errors();
}
