// Every verb on a real console that runs undisturbed.
#include <gmock/gmock.h>
#include <signal.h>

#include <fstream>

#include "client/e2e/shownConsole.h"

namespace {

using testing::HasSubstr;

using Verbs = ShownConsole;

bool isThere(const std::string& program) {
    return runCommand(std::vector<std::string>{"/bin/sh", "-c", "command -v " + program},
                      std::string(), Command::Environment{})
               .status == 0;
}

TEST_P(Verbs, TextStatusAndItemsShow) {
    EXPECT_EQ(ctl({"status", "größer"}).status, 0);
    EXPECT_EQ(ctl({"percent", "40"}).status, 0);
    EXPECT_EQ(ctl({"write", "first", "line"}).status, 0);
    EXPECT_EQ(ctl({"add", "a", "Added", "10"}).status, 0);
    EXPECT_EQ(ctl({"add", "a", "Never shown", "20"}).status, 0);
    EXPECT_EQ(ctl({"set", "s", "Set", "30"}).status, 0);
    EXPECT_EQ(ctl({"set", "s", "Never shown", "150"}).status, 0);
    EXPECT_EQ(ctl({"update", "a", "55"}).status, 0);
    EXPECT_EQ(ctl({"update", "unknown", "55"}).status, 0);
    EXPECT_EQ(ctl({"write"}, "from\n\ninput").status, 0);

    ReferenceModel model = lines("first line");
    model.status = "grosser";
    model.addItem("Added", 55, 0);
    model.addItem("Set", 100, 0);
    addLines(model, "from\n\ninput");
    expectShown(model);
}

TEST_P(Verbs, WriteLosesNothingOfAFlood) {
    constexpr int kLines = 1000000;
    EXPECT_EQ(shell("seq 1 " + std::to_string(kLines) + " | \"$CTL\" -t 0 write").status, 0);
    // A line that was lost or cut would stand out among the last ones or shift them.
    ReferenceModel model;
    for (int i = kLines - 100; i <= kLines; ++i)
        model.addLine(std::to_string(i));
    expectShown(model);
}

TEST_P(Verbs, GaugeFollowsPv) {
    if (!isThere("pv"))
        GTEST_SKIP() << "no pv";
    std::ofstream(file("image")) << std::string(1000000, 'x');
    const Outcome outcome = shell("(pv -n " + file("image") + " > " + file("copy") +
                                  ") 2>&1 | \"$CTL\" gauge image 'An image'");
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(std::filesystem::file_size(file("copy")), 1000000u);
    ReferenceModel model;
    model.addItem("An image", 100, 0);
    expectShown(model);
}

TEST_P(Verbs, RunFollowsDd) {
    EXPECT_EQ(ctl({"run", "--label", "Zeroes", "--", "sh", "-c",
                   "dd if=/dev/zero of=/dev/null bs=1M count=64 2>&1 | head -n 2"})
                  .status,
              0);
    ReferenceModel model;
    model.addItem("Zeroes", 100, 0);
    addLines(model, "64+0 records in\n64+0 records out\n");
    expectShown(model);
}

TEST_P(Verbs, RunFollowsCurlUpToItsFailure) {
    std::ofstream(file("image")) << std::string(1000000, 'x');
    const Outcome outcome =
        ctl({"run", "--label", "Download", "--", "sh", "-c",
             "curl -# -o " + file("copy") + " file://" + file("image") + " && exit 4"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.errors, HasSubstr("100.0%"));
    ReferenceModel model;
    model.addItem("Download", 100, 0);
    const size_t bar = outcome.errors.rfind('\r', outcome.errors.rfind("100.0%")) + 1;
    addLines(model, outcome.errors.substr(bar, outcome.errors.find('\n', bar) - bar));
    addLines(model, "Download: failed with status 4\n");
    expectShown(model);
}

TEST_P(Verbs, RunFollowsRsyncUpToAFailure) {
    if (!isThere("rsync"))
        GTEST_SKIP() << "no rsync";
    std::ofstream(file("image")) << std::string(1000000, 'x');
    const Outcome outcome =
        ctl({"run", "--label", "Sync", "--", "sh", "-c",
             "rsync --info=progress2 " + file("image") + " " + file("copy") + " && exit 23"});
    EXPECT_EQ(outcome.status, 23);
    ReferenceModel model;
    model.addItem("Sync", 100, 0);
    const std::string& output = outcome.output;
    const size_t row = output.rfind('\r') + 1;
    addLines(model, output.substr(row, output.find('\n', row) - row));
    addLines(model, "Sync: failed with status 23\n");
    expectShown(model);
}

TEST_P(Verbs, RunLeavesTheItemOfACommandThatWasKilledWhereItIs) {
    EXPECT_EQ(ctl({"run", "--label", "Job", "--", "sh", "-c", "echo 70%; kill -SEGV $$"}).status,
              128 + SIGSEGV);
    ReferenceModel model;
    model.addItem("Job", 70, 0);
    addLines(model, "70%\nJob: killed by signal 11 (Segmentation fault)\n");
    expectShown(model);
}

TEST_P(Verbs, RunPassesMegabytesThroughAndShowsTheirEnd) {
#ifdef __SANITIZE_ADDRESS__
    const std::string bytes = "9999999";  // all of it is looked at byte by byte, many times slower
#else
    const std::string bytes = "99999999";
#endif
    const Outcome outcome =
        shell("\"$CTL\" run --label Flood -- sh -c 'yes | head -c " + bytes +
              "; echo; echo end' | md5sum; (yes | head -c " + bytes + "; echo; echo end) | md5sum");
    const size_t half = outcome.output.size() / 2;
    EXPECT_EQ(outcome.output.substr(0, half), outcome.output.substr(half));
    ReferenceModel model;
    for (int i = 0; i < 100; ++i)
        model.addLine("y");
    addLines(model, "end");
    expectShown(model);
}

TEST_P(Verbs, TailFollows) {
    std::ofstream(file("log")) << "old\none\n";
    const std::unique_ptr<Command> tail = begin({"tail", "-n", "1", file("log")});
    expectShown(lines("one"));
    std::ofstream(file("log"), std::ios::app) << "two\n";
    expectShown(lines("one\ntwo"));
}

TEST_P(Verbs, DemoPlaysToItsEnd) {
    EXPECT_EQ(ctl({"demo", "--seconds", "1"}).status, 0);
    expectStatus("Update complete - the unit may be switched off");
}

INSTANTIATE_TEST_SUITE_P(Clients, Verbs, testing::Values("fuse", "socket"),
                         [](const auto& info) { return info.param; });

}  // namespace
