// A console without a service: brings the window up, tells so, and then draws what it is told on
// standard input, served by the event loop like a window's events. For tests of what belongs to a
// whole process: its settings, its end.
//
//     fill X Y WIDTH HEIGHT RED GREEN BLUE
//     swap                                        answers "swapped", or "not swapped"
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "dispatch/eventLoop.h"
#include "platform/support/consoleSurface.h"

namespace {

ConsoleSurface console;

void obey(const std::string& line) {
    int n[7];
    if (std::sscanf(line.c_str(), "fill %d %d %d %d %d %d %d", n, n + 1, n + 2, n + 3, n + 4, n + 5,
                    n + 6) == 7)
        console.fill(n[0], n[1], n[2], n[3], n[4], n[5], n[6]);
    else if (line == "swap")
        std::puts(console.swap() ? "swapped" : "not swapped");
}

void readCommands(void*) {
    static std::string unread;
    char piece[1024];
    const ssize_t got = read(STDIN_FILENO, piece, sizeof piece);
    if (got <= 0)
        std::exit(EXIT_SUCCESS);
    unread.append(piece, static_cast<size_t>(got));
    for (size_t end; (end = unread.find('\n')) != std::string::npos; unread.erase(0, end + 1))
        obey(unread.substr(0, end));
}

}  // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    std::atexit([] { std::puts("exit handlers ran"); });
    const std::string failed = console.bringUp();
    if (!failed.empty()) {
        std::printf("failed: %s, kd error %d\n", failed.c_str(), kdGetError());
        return 3;
    }
    std::printf("screen %dx%d, drawing %dx%d\n", console.screenWidth, console.screenHeight,
                console.width, console.height);
    eventLoopWatch(STDIN_FILENO, readCommands, nullptr);
    while (eventLoopTurn(-1)) {
    }
    return 2;
}
