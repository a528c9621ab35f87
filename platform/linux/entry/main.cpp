// The process entry of the OpenKODE runtime: it only calls kdMain, whose value is the exit status.

#include <KD/kd.h>
#include <malloc.h>

#include <csignal>

namespace {

// Twice the largest piece in which the kernel hands over a write.
constexpr int kGivenBackBytes = 256 << 10;

}  // namespace

int main(int argc, char** argv) {
    // A client that goes away while it is answered must not take the console with it.
    std::signal(SIGPIPE, SIG_IGN);
#ifdef __GLIBC__
    // What is larger goes back to the system when it is released. Left to itself the library raises
    // that size with each text, and keeps room for another one as large as the largest so far.
    mallopt(M_MMAP_THRESHOLD, kGivenBackBytes);
#endif
    return kdMain(argc, argv);
}
