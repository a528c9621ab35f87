// The process entry of the OpenKODE runtime: it only calls kdMain, whose value is the exit status.

#include <KD/kd.h>
#include <malloc.h>

#include <csignal>

namespace {

// Room of a text goes back to the system when it is released, room that most writes take stays.
// Left to itself the library raises both sizes with each larger text and keeps that much.
void limitKeptMemory() {
#ifdef __GLIBC__
    constexpr int kLargeBlock = 256 << 10, kFreeBlocks = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, kLargeBlock);
    mallopt(M_TRIM_THRESHOLD, kFreeBlocks);
#endif
}

}  // namespace

int main(int argc, char** argv) {
    // A client that goes away while it is answered must not take the console with it.
    std::signal(SIGPIPE, SIG_IGN);
    limitKeptMemory();
    return kdMain(argc, argv);
}
