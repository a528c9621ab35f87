// Start and memory of the console, headless, as ratios to a bare program (bareConsole.cpp) that is
// started in turns with it. Times are from before the fork, the best of all rounds, because what
// else runs can only add to them; memory is what is resident once the node answers or the bare
// program has drawn.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "node/place/mountTable.h"
#include "ownership/fileDescriptor.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 20;
constexpr int kGiveUpMilliseconds = 60000;

struct Sample {
    double milliseconds = 0;
    double residentMegabytes = 0;
};

class Folder {
public:
    Folder() { path_ = mkdtemp(pattern_.data()); }
    ~Folder() { std::filesystem::remove_all(path_); }
    std::string file(const char* name) const { return path_ + "/" + name; }

private:
    std::string pattern_ = "/tmp/velkarisBenchXXXXXX";
    std::string path_;
};

double residentMegabytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    const std::string key = "VmRSS:";
    for (std::string line; std::getline(status, line);)
        if (line.compare(0, key.size(), key) == 0)
            return std::stod(line.substr(key.size())) / 1024;
    return 0;
}

bool isSocket(const std::string& path) {
    struct stat found;
    return stat(path.c_str(), &found) == 0 && S_ISSOCK(found.st_mode);
}

// Starts a program, its output in a pipe, and looks for `isReady` until it holds. Then ends it.
Sample measure(const std::vector<std::string>& command, const std::function<bool(int)>& isReady) {
    int output[2];
    if (pipe2(output, O_CLOEXEC | O_NONBLOCK) != 0)
        abort();
    const FileDescriptor mine(output[0]);
    FileDescriptor theirs(output[1]);
    std::vector<char*> arguments;
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);

    const auto begin = Clock::now();
    const pid_t child = fork();
    if (child == 0) {
        dup2(theirs.get(), STDOUT_FILENO);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    theirs.reset();
    Sample sample;
    do {
        const std::chrono::duration<double, std::milli> passed = Clock::now() - begin;
        sample.milliseconds = passed.count();
        if (sample.milliseconds > kGiveUpMilliseconds || waitpid(child, nullptr, WNOHANG) != 0) {
            fprintf(stderr, "startBench: %s does not come up\n", arguments[0]);
            exit(1);
        }
        usleep(200);
    } while (!isReady(mine.get()));
    sample.residentMegabytes = residentMegabytes(child);
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
    return sample;
}

Sample measureConsole(const std::string& node, const std::function<bool(int)>& isReady) {
    setenv("VELKARIS_NODE", node.c_str(), 1);
    return measure({VELKARIS_PROGRAM, "-p", VELKARIS_BENCH_FONT}, isReady);
}

// The byte on its output by which it says that it is ready.
bool hasSpoken(int output) {
    char byte = 0;
    return read(output, &byte, 1) == 1 && byte == 'r';
}

Sample measureBare(const char* work) {
    return measure({BARE_PROGRAM, work}, hasSpoken);
}

// Until the node is mounted, or its socket there.
Sample consoleNode() {
    const Folder folder;
    const std::string node = folder.file("node");
    const bool canMount = access("/dev/fuse", R_OK | W_OK) == 0;
    return measureConsole(
        node, [&](int) { return canMount ? mountAt(node).has_value() : isSocket(node); });
}

Sample bareNode() {
    const Folder folder;
    const std::string node = folder.file("node");
    const Sample sample = measure({BARE_PROGRAM, "quad", node}, hasSpoken);
    if (mountAt(node))
        detachMount(node);
    return sample;
}

// Until the first frame is a file.
Sample consolePicture() {
    const Folder folder;
    const std::string frame = folder.file("frame-000001.png");
    setenv("VELKARIS_CAPTURE", frame.substr(0, frame.rfind('/')).c_str(), 1);
    const Sample sample =
        measureConsole(folder.file("node"), [&](int) { return access(frame.c_str(), F_OK) == 0; });
    unsetenv("VELKARIS_CAPTURE");
    return sample;
}

class Comparison {
public:
    Comparison(const char* what, const char* unit) : what_(what), unit_(unit) {}

    void add(double console, double bare) {
        console_ = std::min(console_, console);
        bare_ = std::min(bare_, bare);
    }

    void print() const {
        printf("%-44s console %6.1f %s   bare %6.1f %s   ratio %.2f\n", what_, console_, unit_,
               bare_, unit_, console_ / bare_);
    }

private:
    const char* what_;
    const char* unit_;
    double console_ = std::numeric_limits<double>::max();
    double bare_ = std::numeric_limits<double>::max();
};

}  // namespace

int main() {
    setenv("VELKARIS_WINDOW", "headless:1280x480", 1);
    unsetenv("VELKARIS_CAPTURE");
    Comparison picture("first picture, kept as a file; a drawn quad", "ms");
    Comparison node("node up; a drawn quad and a node", "ms");
    Comparison clearing("memory; a program that clears", "MB");
    Comparison drawing("memory; a program that draws a quad", "MB");
    const bool canMount = access("/dev/fuse", R_OK | W_OK) == 0;
    for (int round = 0; round < kRounds; ++round) {
        const Sample clear = measureBare("clear"), quad = measureBare("quad");
        const Sample console = consoleNode();
        picture.add(consolePicture().milliseconds, quad.milliseconds);
        if (canMount)
            node.add(console.milliseconds, bareNode().milliseconds);
        clearing.add(console.residentMegabytes, clear.residentMegabytes);
        drawing.add(console.residentMegabytes, quad.residentMegabytes);
    }
    picture.print();
    if (canMount)
        node.print();
    clearing.print();
    drawing.print();
    return 0;
}
