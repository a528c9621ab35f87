// Clients that are programs of their own: the shell, a C program, velkarisctl.
#include <fstream>

#include "e2e/transport.h"

namespace {

class Programs : public OnEachTransport {
protected:
    // Runs it with the console's node in the environment.
    CommandResult run(const ConsoleProcess& console, const std::vector<std::string>& command) {
        return runCommand(folder.path(), command,
                          {{"VELKARIS_NODE", console.node()}, {"NODE", console.node()}});
    }

    TemporaryFolder folder;
};

}  // namespace

TEST_P(Programs, ShellRedirectionWritesLines) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    if (isSocket()) {
        // A shell cannot open a socket: it has to say so, and the console stays as it is.
        EXPECT_NE(run(console, {"sh", "-c", "echo hello > \"$NODE\""}).status, 0);
        EXPECT_NE(console.errors().find("shell redirection"), std::string::npos);
        expectSamePicture("shellOnSocket", predictUsual({}), nextFrame(&console));
        return;
    }
    const std::string file = folder.path() + "/log.txt";
    std::ofstream(file) << "first line of the file\nsecond line of the file\n";

    const std::vector<std::string> kCommands = {
        "echo hello > \"$NODE\"",
        "echo appended >> \"$NODE\"",
        "cat " + file + " > \"$NODE\"",
        "printf 'no newline' > \"$NODE\"",
        "cp " + file + " \"$NODE\"",
        "echo through a pipe | tee \"$NODE\" > /dev/null",
        "dd if=" + file + " of=\"$NODE\" bs=10 count=1 status=none"};
    for (const std::string& command : kCommands)
        EXPECT_EQ(run(console, {"sh", "-c", command}).status, 0) << command;

    ReferenceModel model;
    for (const char* line :
         {"hello", "appended", "first line of the file", "second line of the file", "no newline",
          "first line of the file", "second line of the file", "through a pipe", "first line"})
        model.addLine(line);
    expectSamePicture("shell", predictUsual(model), nextFrame(&console));
}

TEST_P(Programs, ACProgramSendsEveryCommand) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    const std::string program = VELKARIS_C_CLIENT;
    const std::string& node = console.node();
    EXPECT_EQ(run(console, {program, node, "write", "from C"}).status, 0);
    EXPECT_EQ(run(console, {program, node, "status", "C status"}).status, 0);
    EXPECT_EQ(run(console, {program, node, "add", "fw", "Label from C", "100"}).status, 0);
    EXPECT_EQ(run(console, {program, node, "update", "fw", "120"}).status, 0);
    EXPECT_EQ(run(console, {program, node, "percent", "0"}).status, 0);
    EXPECT_EQ(run(console, {program, node, "unknown"}).errors, "Function not implemented\n");

    ReferenceModel model;
    model.status = "C status";
    model.addLine("from C");
    model.addItem("Label from C", 120, 0);
    expectSamePicture("cProgram", predictUsual(model), nextFrame(&console));
}

TEST_P(Programs, VelkarisctlSendsEveryCommand) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    const std::vector<std::vector<std::string>> kCommands = {
        {"write", "a line", "of words"},  {"status", "Installing"},     {"percent", "0"},
        {"add", "fw", "Firmware", "100"}, {"add", "fs", "File system"}, {"update", "fs", "100"}};
    for (std::vector<std::string> command : kCommands) {
        const std::string shown = testing::PrintToString(command);
        command.insert(command.begin(), VELKARIS_CTL);
        const CommandResult result = run(console, command);
        EXPECT_EQ(result.status, 0) << shown << result.errors;
        EXPECT_EQ(result.output + result.errors, "") << shown;
    }
    const std::string piped = "printf 'piped\\ntext\\n' | '" VELKARIS_CTL "' write";
    EXPECT_EQ(run(console, {"sh", "-c", piped}).status, 0);

    ReferenceModel model;
    model.status = "Installing";
    model.addLine("a line of words");
    model.addItem("Firmware", 100, 0);
    model.addItem("File system", 100, 0);
    model.addLine("piped");
    model.addLine("text");
    const RgbImage frame = nextFrame(&console);
    if (compareImages(predictUsual(model), frame, 1).differing != 0)
        model.rows[2].elapsed = 1;  // a tick came before the second item was full
    expectSamePicture("velkarisctl", predictUsual(model), frame);
}

TEST_P(Programs, VelkarisctlSaysWhenNoConsoleIsThere) {
    const CommandResult result = runCommand(folder.path(), {VELKARIS_CTL, "status", "text"},
                                            {{"VELKARIS_NODE", folder.path() + "/node"}});
    EXPECT_NE(result.status, 0);
    EXPECT_NE(result.status, -1);
    EXPECT_NE(result.errors, "");
}

VELKARIS_ON_EACH_TRANSPORT(Programs);
