// The documents against the program: every verb, option, function and code has its place in them,
// and the tools that read them have no complaint.
#include <gmock/gmock.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "client/support/command.h"

namespace {

using testing::HasSubstr;

std::string content(const std::string& file) {
    std::ifstream stream(std::string(SOURCE_FOLDER) + "/" + file);
    EXPECT_TRUE(stream) << file;
    std::ostringstream all;
    all << stream.rdbuf();
    return all.str();
}

std::set<std::string> matches(const std::string& text, const char* pattern) {
    const std::regex expression(pattern);
    std::set<std::string> result;
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
         ++match)
        result.insert((*match)[1]);
    return result;
}

// The verbs as the command lists them itself.
std::set<std::string> verbs() {
    const std::string help = runCommand({VELKARISCTL, "--help"}).output;
    const size_t begin = help.find("Verbs:");
    return matches(help.substr(begin, help.find("Options:") - begin), "\n  ([a-z]+)");
}

std::set<std::string> longOptions() {
    std::string all;
    for (const std::string& verb : verbs())
        all += runCommand({VELKARISCTL, verb, "--help"}).output;
    return matches(all, "--([a-z]+)");
}

bool isThere(const std::string& program) {
    return runCommand({"/bin/sh", "-c", "command -v " + program}).status == 0;
}

TEST(Documents, TheManualHasEveryVerbAndOption) {
    const std::string page = content("docs/man/velkarisctl.1");
    ASSERT_EQ(verbs().size(), 11u);
    for (const std::string& verb : verbs())
        EXPECT_THAT(page, HasSubstr(".It Cm " + verb + " ")) << verb;
    for (const std::string& option : longOptions())
        EXPECT_THAT(page, HasSubstr("Fl Fl " + option)) << option;
}

TEST(Documents, CompletionsHaveEveryVerbAndOption) {
    for (const char* shell : {"bash", "zsh", "fish"}) {
        const std::string file = content(std::string("client/completions/velkarisctl.") + shell);
        for (const std::string& verb : verbs())
            EXPECT_TRUE(std::regex_search(file, std::regex("\\b" + verb + "\\b")))
                << shell << ": " << verb;
        for (const std::string& option : longOptions())
            EXPECT_TRUE(std::regex_search(file, std::regex("(--|-l )" + option + "\\b")))
                << shell << ": " << option;
    }
}

TEST(Documents, TheManualHasEveryFunctionAndConstantOfTheHeader) {
    const std::string header = content("client/include/velkaris/velkaris.h");
    const std::string page = content("docs/man/libvelkaris.3");
    const std::set<std::string> functions = matches(header, "\\b(velkaris_[a-z_]+)\\(");
    ASSERT_EQ(functions.size(), 14u);
    for (const std::string& function : functions)
        EXPECT_THAT(page, HasSubstr(".Fn " + function)) << function;
    for (const std::string& constant : matches(header, "\\b(VELKARIS_[A-Z_]+) ?="))
        EXPECT_THAT(page, HasSubstr("Dv " + constant)) << constant;
    for (const std::string& error : matches(header, "//   (E[A-Z]+)  "))
        EXPECT_THAT(page, HasSubstr("Er " + error)) << error;
}

TEST(Documents, TheManualHasEveryCommandOfTheProtocol) {
    const std::string page = content("docs/man/velkaris.7");
    for (const std::string& command :
         matches(content("src/console/protocol.h"), "define (DCMD_\\w+)"))
        EXPECT_THAT(page, HasSubstr(".It Dv " + command)) << command;
}

TEST(Documents, TheManualHasEveryOptionOfTheService) {
    const std::string page = content("docs/man/velkaris.8");
    const std::set<std::string> options =
        matches(content("src/app/settings.cpp"), "case '([A-Za-z])'");
    ASSERT_EQ(options.size(), 10u);
    for (const std::string& option : options)
        EXPECT_TRUE(std::regex_search(page, std::regex("\\.It Fl " + option + "\\b"))) << option;
    for (const std::string& variable :
         matches(content("platform/linux/settings/layerSettings.h"), "// (VELKARIS_[A-Z_]+) "))
        EXPECT_THAT(page, HasSubstr(".It Ev " + variable)) << variable;
}

TEST(Documents, FormatWithoutComplaint) {
    if (!isThere("mandoc") || !isThere("groff"))
        GTEST_SKIP() << "no mandoc or no groff";
    for (const char* page : {"velkarisctl.1", "libvelkaris.3", "velkaris.7", "velkaris.8"}) {
        const std::string file = std::string(SOURCE_FOLDER) + "/docs/man/" + page;
        const Outcome lint = runCommand({"mandoc", "-T", "lint", "-W", "warning", file});
        EXPECT_EQ(lint.output + lint.errors, "");
        EXPECT_EQ(runCommand({"groff", "-mandoc", "-Tutf8", "-ww", "-z", file}).errors, "");
    }
}

TEST(Documents, CompletionsAreReadByTheirShells) {
    for (const char* shell : {"bash", "zsh", "fish"}) {
        if (!isThere(shell))
            GTEST_SKIP() << "no " << shell;
        const Outcome read = runCommand(
            {shell, "-n", std::string(SOURCE_FOLDER) + "/client/completions/velkarisctl." + shell});
        EXPECT_EQ(read.status, 0) << shell << ": " << read.errors;
    }
}

// What bash offers for the last word of a line.
std::string completions(const std::string& words) {
    return runCommand({"bash", "-c",
                       "compopt() { :; }; . " SOURCE_FOLDER "/client/completions/velkarisctl.bash; "
                       "COMP_WORDS=(" +
                           words +
                           "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
                           "_velkarisctl; echo \"${COMPREPLY[*]}\""})
        .output;
}

TEST(Documents, BashCompletesVerbsOptionsAndTheirValues) {
    if (!isThere("bash"))
        GTEST_SKIP() << "no bash";
    EXPECT_EQ(completions("velkarisctl st"), "status\n");
    EXPECT_EQ(completions("velkarisctl -d /x -q u"), "update\n");
    EXPECT_EQ(completions("velkarisctl --ascii = re"), "refuse\n");
    EXPECT_EQ(completions("velkarisctl --ascii = pass wa"), "wait\n");
    EXPECT_EQ(completions("velkarisctl wait --s"), "--seconds\n");
    EXPECT_EQ(completions("velkarisctl run --l"), "--label\n");
    EXPECT_EQ(completions("velkarisctl status --s"), "\n");
    EXPECT_EQ(completions("velkarisctl tail " SOURCE_FOLDER "/CMakeL"),
              SOURCE_FOLDER "/CMakeLists.txt\n");
}

TEST(Documents, FishCompletesVerbsAndOptions) {
    if (!isThere("fish"))
        GTEST_SKIP() << "no fish";
    const auto offered = [](const std::string& line) {
        return runCommand({"fish", "-N", "-c",
                           "source " SOURCE_FOLDER "/client/completions/velkarisctl.fish; "
                           "complete -C '" +
                               line + "'"})
            .output;
    };
    EXPECT_EQ(offered("velkarisctl st"), "status\tSet the text of the status line\n");
    EXPECT_EQ(offered("velkarisctl wait --sec"), "--seconds\tHow long\n");
    EXPECT_EQ(offered("velkarisctl --ascii re"), "refuse\tText beyond ASCII\n");
}

}  // namespace
