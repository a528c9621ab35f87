// The documents against the program: every verb, option, function and code has its place in them,
// and the tools that read them have no complaint.
#include <gmock/gmock.h>

#include <cctype>
#include <fstream>
#include <map>
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

// The manual's page as it is read, its blanks made single ones.
std::string rendered(const std::string& page) {
    const Outcome shown = runCommand(
        {"/bin/sh", "-c",
         "mandoc -Tascii -Owidth=1000 " SOURCE_FOLDER "/docs/man/" + page + " | sed 's/.\b//g'"});
    return std::regex_replace(shown.output, std::regex("[ \n]+"), " ");
}

// The operands and options of a verb stand in its help and in the manual alike.
TEST(Documents, TheManualHasEachVerbAsItsHelpHasIt) {
    if (!isThere("mandoc"))
        GTEST_SKIP() << "no mandoc";
    const std::string page = rendered("velkarisctl.1");
    for (const std::string& verb : verbs()) {
        const std::string help = runCommand({VELKARISCTL, verb, "--help"}).output;
        const size_t begin = help.find("[OPTION...] ") + std::string("[OPTION...] ").size();
        std::string usage = help.substr(begin, help.find('\n') - begin);
        for (char& c : usage)
            c = static_cast<char>(std::tolower(c));
        // The help has one form of an option, and dots without a blank before them.
        const std::string shown = std::regex_replace(page, std::regex(" \\.\\.\\."), "...");
        const std::map<std::string, std::string> differing = {
            {"run [--item name] [--label text] [--] command...",
             "run [--item name] [--label text] [--] command [argument...]"},
            {"tail [-n n] file...", "tail [-n, --lines lines] file..."},
        };
        const auto found = differing.find(usage);
        EXPECT_THAT(shown, HasSubstr(found == differing.end() ? usage : found->second));
    }
}

TEST(Documents, TheManualHasEveryExitStatusOfTheHelp) {
    const std::string page = content("docs/man/velkarisctl.1");
    const std::string help = runCommand({VELKARISCTL, "--help"}).output;
    const std::set<std::string> statuses =
        matches(help.substr(help.find("Exit status:")), "([0-9]) ");
    ASSERT_EQ(statuses.size(), 4u);
    for (const std::string& status : statuses)
        EXPECT_THAT(page.substr(page.find(".Sh EXIT STATUS")), HasSubstr(".It " + status + "\n"));
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
    const std::set<std::string> constants = matches(header, "\n    (VELKARIS_[A-Z_]+)");
    ASSERT_EQ(constants.size(), 10u);
    for (const std::string& constant : constants)
        EXPECT_THAT(page, HasSubstr("Dv " + constant)) << constant;
    const std::set<std::string> errors = matches(header, "//   (E[A-Z]+)[ ,]");
    ASSERT_EQ(errors.size(), 8u);
    for (const std::string& error : errors)
        EXPECT_THAT(page, HasSubstr("Er " + error)) << error;
}

TEST(Documents, TheManualHasEveryCommandOfTheProtocol) {
    const std::string page = content("docs/man/velkaris.7");
    const std::set<std::string> commands =
        matches(content("src/console/protocol.h"), "define (DCMD_\\w+)");
    ASSERT_EQ(commands.size(), 4u);
    for (const std::string& command : commands)
        EXPECT_THAT(page, HasSubstr(".It Dv " + command)) << command;
}

TEST(Documents, TheManualHasEveryOptionOfTheService) {
    const std::string page = content("docs/man/velkaris.8");
    const std::set<std::string> options =
        matches(content("src/app/settings.cpp"), "case '([A-Za-z])'");
    ASSERT_EQ(options.size(), 10u);
    for (const std::string& option : options)
        EXPECT_TRUE(std::regex_search(page, std::regex("\\.It Fl " + option + "\\b"))) << option;
    const std::set<std::string> variables =
        matches(content("platform/linux/settings/layerSettings.h"), "// (VELKARIS_[A-Z_]+) ");
    ASSERT_EQ(variables.size(), 8u);
    for (const std::string& variable : variables)
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

// What a line becomes when its end is completed at a prompt: the command is a function that tells.
std::string completedByZsh(const std::string& line) {
    Command session({"script", "-qec", "zsh -f -i", "/dev/null"}, {{"TERM", "dumb"}});
    session.write(
        "unsetopt zle_bracketed_paste\n"
        "autoload -U compinit && compinit -u -D\n"
        "velkarisctl() { print \"<$*>\" }\n"
        "functions[_velkarisctl]=\"$(<" SOURCE_FOLDER
        "/client/completions/velkarisctl.zsh)\"\n"
        "compdef _velkarisctl velkarisctl\n"
        "print is ready\n");
    if (!session.awaitOutput("is ready\r\n"))
        return "no prompt";
    session.write(line + "\t\n");
    session.awaitOutput(">\r\n");
    session.write("exit\n");
    const std::string all = session.finish().output;
    const size_t begin = all.rfind('<');
    return all.substr(begin, all.find('>', begin) + 1 - begin);
}

TEST(Documents, ZshCompletesVerbsOptionsAndTheirValues) {
    if (!isThere("zsh"))
        GTEST_SKIP() << "no zsh";
    EXPECT_EQ(completedByZsh("velkarisctl sta"), "<status>");
    EXPECT_EQ(completedByZsh("velkarisctl -q up"), "<-q update>");
    EXPECT_EQ(completedByZsh("velkarisctl --ascii=re"), "<--ascii=refuse>");
    EXPECT_EQ(completedByZsh("velkarisctl wait --sec"), "<wait --seconds>");
    EXPECT_EQ(completedByZsh("velkarisctl run --la"), "<run --label>");
    EXPECT_EQ(completedByZsh("velkarisctl tail " SOURCE_FOLDER "/CMakeL"),
              "<tail " SOURCE_FOLDER "/CMakeLists.txt>");
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
