// The process entry of the OpenKODE runtime: it only calls kdMain, whose value is the exit status.

#include <KD/kd.h>

#include <csignal>

int main(int argc, char** argv) {
    // A client that goes away while it is answered must not take the console with it.
    std::signal(SIGPIPE, SIG_IGN);
    return kdMain(argc, argv);
}
