// The real program in a folder of its own: with its own node, its presented frames captured, its
// output kept. Time is observed by counting frames. Leaves nothing behind, no mount either.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/childProcess.h"
#include "support/rgbImage.h"
#include "support/temporaryFolder.h"

struct ConsoleOptions {
    std::vector<std::string> arguments;
    std::string window = "headless:1280x480";
    std::string nodeKind = "socket";
    std::string nodePath;  // empty: in the console's own folder
    std::map<std::string, std::string> environment;
};

class ConsoleProcess {
public:
    explicit ConsoleProcess(const ConsoleOptions& options);
    ~ConsoleProcess();

    const std::string& folder() const { return folder_.path(); }
    const std::string& node() const { return node_; }
    ChildProcess& process() { return *process_; }

    // Each false if the program ends first. The node is there a little after the first frame.
    bool waitForNode();
    bool waitForFrame(int number);

    int newestFrame() const;  // 0: none yet
    RgbImage frame(int number) const;

    // Sends the signal and waits. The wait status, or nothing if it runs on.
    std::optional<int> stop(int signalNumber);

    std::string output() const { return readFile(folder() + "/stdout"); }
    std::string errors() const { return readFile(folder() + "/stderr"); }

private:
    std::string framePath(int number) const;

    TemporaryFolder folder_;
    std::string node_;
    std::unique_ptr<ChildProcess> process_;
};

bool isMounted(const std::string& path);

// Why nodes of that kind cannot be served on this machine; empty if they can.
std::string whyNotServed(const std::string& kind);
