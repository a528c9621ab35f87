// The process entry of the OpenKODE runtime: it only calls kdMain, whose value is the exit status.

#include <KD/kd.h>
#include <malloc.h>

#include <csignal>

namespace {

constexpr int kGivenBackBytes = 1 << 20;

}  // namespace

int main(int argc, char** argv) {
    // A client that goes away while it is answered must not take the console with it.
    std::signal(SIGPIPE, SIG_IGN);
#ifdef __GLIBC__
    // Left to itself the library keeps room for another text as large as the largest so far.
    mallopt(M_MMAP_THRESHOLD, kGivenBackBytes);
    mallopt(M_TRIM_THRESHOLD, kGivenBackBytes);
#endif
    return kdMain(argc, argv);
}
