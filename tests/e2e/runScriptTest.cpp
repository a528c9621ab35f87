// What ./run says to a command line that it does not take. It says so before it installs, builds or
// starts anything.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace {

struct Outcome {
    int status = -1;
    std::string text;  // both streams
};

Outcome run(const std::string& arguments) {
    Outcome outcome;
    const std::string command = VELKARIS_SOURCE_DIR "/run " + arguments + " 2>&1";
    FILE* const pipe = popen(command.c_str(), "r");
    for (int byte; (byte = fgetc(pipe)) != EOF;)
        outcome.text += static_cast<char>(byte);
    outcome.status = WEXITSTATUS(pclose(pipe));
    return outcome;
}

struct Refused {
    const char* arguments;
    const char* line;
};

}  // namespace

TEST(RunScript, RefusesWhatItDoesNotTakeInOneLine) {
    const Refused kCases[] = {
        {"--colour ff0000", "unknown option '--colour'; see ./run --help"},
        {"--window=x11", "unknown option '--window=x11'; see ./run --help"},
        {"session", "unknown option 'session'; see ./run --help"},
        {"''", "unknown option ''; see ./run --help"},
        {"--window", "--window needs a value; see ./run --help"},
        {"--window ''", "--window needs a value; see ./run --help"},
        {"--font ''", "--font needs a value; see ./run --help"},
        {"--half --seconds ''", "--seconds needs a value; see ./run --help"},
        {"--seconds 1m", "--seconds takes a whole number, not '1m'"},
        {"--font-size -3", "--font-size takes a whole number, not '-3'"},
        {"--logo-time ab", "--logo-time takes a whole number, not 'ab'"},
        {"--background fff", "--background takes a colour as RRGGBB, not 'fff'"},
        {"--name '#00ff00'", "--name takes a colour as RRGGBB, not '#00ff00'"},
        {"--size 1280", "--size takes a size in pixels as 1280x480, not '1280'"},
        {"--size x480", "--size takes a size in pixels as 1280x480, not 'x480'"},
        {"--size 1x2x3", "--size takes a size in pixels as 1280x480, not '1x2x3'"},
        {"--size 10x10 --window x11", "give the size with the window: --window x11:10x10"},
        {"--font /none.ttf", "cannot read the font /none.ttf"},
        {"--logo /none.png", "cannot read the logo /none.png"},
    };
    for (const Refused& refused : kCases) {
        const Outcome outcome = run(refused.arguments);
        EXPECT_EQ(outcome.status, 2) << refused.arguments;
        EXPECT_EQ(outcome.text, std::string("./run: ") + refused.line + "\n");
    }
}

TEST(RunScript, TellsItsOptions) {
    const Outcome outcome = run("--help");
    EXPECT_EQ(outcome.status, 0);
    for (const char* option : {"--seconds", "--window", "--size", "--font", "--font-size",
                               "--background", "--foreground", "--status", "--name", "--logo",
                               "--logo-time", "--half", "--no-demo", "--help"})
        EXPECT_NE(outcome.text.find(option), std::string::npos) << option;
}
