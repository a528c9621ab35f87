// Writes and commands through the device node, as ratios to a FUSE file that does nothing, measured
// in turns in one run. 1 means as fast; the node promises 0.7.
#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.
#include <devctl.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/dispatch.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "node/place/mountTable.h"
#include "nothingNode.h"
#include "ownership/fileDescriptor.h"

namespace {

constexpr int kRounds = 9;
constexpr int kCalls = 10000;  // a round
constexpr int kCommand = static_cast<int>(__DIOT(_DCMD_MISC, 1, char));

int handleWrite(resmgr_context_t* ctp, io_write_t* msg, RESMGR_OCB_T* ocb) {
    const int verdict = iofunc_write_verify(ctp, msg, ocb, nullptr);
    if (verdict == EOK)
        _IO_SET_WRITE_NBYTES(ctp, msg->i.nbytes);
    return verdict;
}

int handleDevctl(resmgr_context_t* ctp, io_devctl_t* msg, RESMGR_OCB_T* ocb) {
    const int common = iofunc_devctl_default(ctp, msg, ocb);
    if (common != static_cast<int>(_RESMGR_DEFAULT))
        return common;
    msg->o = {};
    return _RESMGR_PTR(ctp, &msg->o, sizeof(msg->o));
}

[[noreturn]] void serveNode(const std::string& path, int ready) {
    static resmgr_connect_funcs_t connect;
    static resmgr_io_funcs_t io;
    static iofunc_attr_t attr;
    resmgr_attr_t sizes = {};
    sizes.nparts_max = 1;
    sizes.msg_max_size = 2048;
    iofunc_func_init(_RESMGR_CONNECT_NFUNCS, &connect, _RESMGR_IO_NFUNCS, &io);
    io.write = handleWrite;
    io.devctl = handleDevctl;
    iofunc_attr_init(&attr, S_IFNAM | 0666, nullptr, nullptr);
    setenv("VELKARIS_NODE", path.c_str(), 1);
    setenv("VELKARIS_NODE_KIND", "fuse", 1);
    dispatch_t* const dispatch = dispatch_create();
    if (resmgr_attach(dispatch, &sizes, path.c_str(), _FTYPE_ANY, 0, &connect, &io, &attr) < 0)
        _exit(1);
    [[maybe_unused]] const ssize_t told = write(ready, "r", 1);
    dispatch_context_t* context = dispatch_context_alloc(dispatch);
    while ((context = dispatch_block(context)) && dispatch_handler(context) == 0) {
    }
    _exit(1);
}

pid_t start(void (*serve)(const std::string&, int), const std::string& path) {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0)
        abort();
    const FileDescriptor mine(ready[0]);
    FileDescriptor theirs(ready[1]);
    const pid_t child = fork();
    if (child == 0)
        serve(path, theirs.get());
    theirs.reset();
    char byte;
    return read(mine.get(), &byte, 1) == 1 ? child : -1;
}

template <typename Call>
double callsPerSecond(const Call& call) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < kCalls; ++i)
        if (!call())
            abort();
    return kCalls / std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

template <typename Call>
void compare(const char* name, const Call& call, int node, int nothing) {
    std::vector<double> rates, baseline, ratios;
    for (int round = 0; round < kRounds; ++round) {
        baseline.push_back(callsPerSecond([&] { return call(nothing); }));
        rates.push_back(callsPerSecond([&] { return call(node); }));
        ratios.push_back(rates.back() / baseline.back());
    }
    printf("%-8s %10.0f /s   do-nothing %10.0f /s   ratio %.2f\n", name, median(rates),
           median(baseline), median(ratios));
}

void stop(pid_t child, const std::string& path) {
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
    if (mountAt(path))
        detachMount(path);
    unlink(path.c_str());
}

}  // namespace

int main() {
    std::string folder = "/tmp/velkarisBenchXXXXXX";
    if (!mkdtemp(folder.data()))
        return 1;
    const std::string nodePath = folder + "/node", nothingPath = folder + "/nothing";
    const pid_t node = start(serveNode, nodePath);
    const pid_t nothing = start(serveNothing, nothingPath);
    const bool serving = node > 0 && nothing > 0;
    if (serving) {
        const FileDescriptor a(open(nodePath.c_str(), O_RDWR | O_CLOEXEC));
        const FileDescriptor b(open(nothingPath.c_str(), O_RDWR | O_CLOEXEC));
        const std::string line(80, 'x'), text(64 << 10, 'x');
        compare(
            "write80", [&](int fd) { return write(fd, line.data(), 80) == 80; }, a.get(), b.get());
        compare(
            "write64k",
            [&](int fd) {
                return write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
            },
            a.get(), b.get());
        compare(
            "devctl",
            [&](int fd) {
                int percent = 42;
                return devctl(fd, kCommand, &percent, sizeof(percent), nullptr) == EOK;
            },
            a.get(), b.get());
    } else {
        fprintf(stderr, "nodeBench: FUSE cannot be had here\n");
    }
    if (node > 0)
        stop(node, nodePath);
    if (nothing > 0)
        stop(nothing, nothingPath);
    rmdir(folder.c_str());
    return serving ? 0 : 77;
}
