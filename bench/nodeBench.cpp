// Writes and commands through the device node, as ratios to a node of the kernel's that does
// nothing, measured in turns in one run. 1 means as fast.
//
// usage: nodeBench [KIND]   fuse, cuse or socket; without it, each that the machine has. A socket
// is measured against a file. Pinned: client and servers share one processor. Busy: every processor
// that they may use is wanted by another process as well.
#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.
#include <devctl.h>
#include <devctlSocket.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/dispatch.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "node/place/mountTable.h"
#include "nothingNode.h"
#include "ownership/fileDescriptor.h"

namespace {

constexpr int kRounds = 9;
constexpr int kCalls = 3000;  // a round
// The bench waits for other processes to take no more of the processors than this, and takes a
// round anew during which they took more, as long as it has patience.
constexpr double kCalm = 0.1;
constexpr std::chrono::milliseconds kLook{100};
constexpr int kLooksMax = 3000;  // in all

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

[[noreturn]] void serveNode(const std::string& kind, const std::string& path, int ready) {
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
    setenv("VELKARIS_NODE_KIND", kind.c_str(), 1);
    dispatch_t* const dispatch = dispatch_create();
    if (resmgr_attach(dispatch, &sizes, path.c_str(), _FTYPE_ANY, 0, &connect, &io, &attr) < 0)
        _exit(1);
    [[maybe_unused]] const ssize_t told = write(ready, "r", 1);
    dispatch_context_t* context = dispatch_context_alloc(dispatch);
    while ((context = dispatch_block(context)) && dispatch_handler(context) == 0) {
    }
    _exit(1);
}

// A process of ours that ends with the object.
class Child {
public:
    template <typename Act>
    explicit Child(const Act& act) : pid_(fork()) {
        if (pid_ != 0)
            return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        act();
        _exit(0);
    }
    ~Child() {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return pid_; }

private:
    pid_t pid_;
};

// A server of a node, from when it serves until it and its node are gone.
class Server {
public:
    template <typename Serve>
    Server(std::string path, const Serve& serve) : path_(std::move(path)) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            abort();
        const FileDescriptor mine(ends[0]);
        FileDescriptor theirs(ends[1]);
        child_ = std::make_unique<Child>([&] { serve(path_, theirs.get()); });
        theirs.reset();
        char byte;
        if (read(mine.get(), &byte, 1) == 1)
            client_.reset(devctl_open(path_.c_str(), O_RDWR | O_CLOEXEC));
    }
    ~Server() {
        client_.reset();
        child_.reset();
        if (mountAt(path_))
            detachMount(path_);
        unlink(path_.c_str());
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    explicit operator bool() const { return bool(client_); }
    int client() const { return client_.get(); }
    pid_t pid() const { return child_->pid(); }

private:
    std::string path_;
    std::unique_ptr<Child> child_;
    FileDescriptor client_;
};

struct Ticks {
    double all = 0;
    double others = 0;  // spent by other processes
};

Ticks ticksNow(const std::vector<pid_t>& ours) {
    Ticks ticks;
    std::string name;
    std::ifstream processors("/proc/stat");
    processors >> name;
    for (int field = 0; field < 8; ++field) {  // user nice system idle iowait irq softirq steal
        double value = 0;
        processors >> value;
        ticks.all += value;
        ticks.others += field == 3 || field == 4 ? 0 : value;
    }
    for (const pid_t pid : ours) {
        std::string stat;
        std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/stat"), stat);
        std::istringstream fields(stat.substr(stat.rfind(')') + 1));
        std::string skipped;
        double user = 0, system = 0;
        for (int field = 0; field < 11; ++field)
            fields >> skipped;
        fields >> user >> system;
        ticks.others -= user + system;
    }
    return ticks;
}

class Bench {
public:
    Bench(const Server& node, const Server& nothing, std::vector<pid_t> ours, std::string title)
        : node_(node), nothing_(nothing), ours_(std::move(ours)), title_(std::move(title)) {
        ours_.insert(ours_.end(), {getpid(), node.pid(), nothing.pid()});
    }

    template <typename Call>
    void compare(const char* name, const Call& call) {
        std::vector<double> rates, baseline, ratios, disturbed;
        while (ratios.size() < kRounds) {
            awaitCalm();
            const Ticks before = ticksNow(ours_);
            const double nothing = callsPerSecond(call, nothing_.client());
            const double node = callsPerSecond(call, node_.client());
            const double others = othersSince(before);
            if (others > kCalm && looks_ < kLooksMax)
                continue;
            baseline.push_back(nothing);
            rates.push_back(node);
            ratios.push_back(node / nothing);
            disturbed.push_back(others);
        }
        printf(
            "%-24s %-9s %7.0f /s  do-nothing %7.0f /s  ratio %.2f (%.2f to %.2f)  others %.0f %%\n",
            title_.c_str(), name, median(rates), median(baseline), median(ratios),
            *std::min_element(ratios.begin(), ratios.end()),
            *std::max_element(ratios.begin(), ratios.end()), 100 * median(disturbed));
        fflush(stdout);
    }

private:
    double othersSince(const Ticks& before) const {
        const Ticks after = ticksNow(ours_);
        return (after.others - before.others) / (after.all - before.all);
    }

    void awaitCalm() const {
        while (looks_++ < kLooksMax) {
            const Ticks before = ticksNow(ours_);
            std::this_thread::sleep_for(kLook);
            if (othersSince(before) <= kCalm)
                return;
        }
    }

    template <typename Call>
    static double callsPerSecond(const Call& call, int fd) {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < kCalls; ++i)
            if (!call(fd))
                abort();
        return kCalls / std::chrono::duration<double>(Clock::now() - begin).count();
    }

    static double median(std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    }

    static inline int looks_ = 0;
    const Server& node_;
    const Server& nothing_;
    std::vector<pid_t> ours_;
    std::string title_;
};

bool writeAll(int fd, const std::string& text) {
    return devctl_write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

bool measure(const std::string& kind, const std::string& folder, bool busy, std::string title) {
    const bool device = kind == "cuse";  // such a node can be in /dev only
    const std::string at = device ? "/dev/velkarisBench" : folder + "/bench";
    const Server node(at + "Node",
                      [&](const std::string& path, int ready) { serveNode(kind, path, ready); });
    const Server nothing(at + "Nothing", device ? serveNothingAsDevice : serveNothing);
    if (!node || !nothing)
        return false;
    cpu_set_t processors;
    sched_getaffinity(0, sizeof processors, &processors);
    std::vector<std::unique_ptr<Child>> load;
    std::vector<pid_t> ours;
    for (int i = 0; busy && i < CPU_COUNT(&processors); ++i) {
        load.push_back(std::make_unique<Child>([] {
            for (volatile int turns = 0;; turns = turns + 1) {
            }
        }));
        ours.push_back(load.back()->pid());
    }
    Bench bench(node, nothing, ours, std::move(title));
    const std::string line(80, 'x'), text(64 << 10, 'x');
    bench.compare("write80", [&](int fd) { return writeAll(fd, line); });
    bench.compare("write64k", [&](int fd) { return writeAll(fd, text); });
    bench.compare("devctl", [](int fd) {
        int percent = 42;
        return devctl(fd, kCommand, &percent, sizeof(percent), nullptr) == EOK;
    });
    return true;
}

bool kernelOffers(const std::string& kind) {
    return kind == "socket" || access(("/dev/" + kind).c_str(), R_OK | W_OK) == 0;
}

bool measureKind(const std::string& kind, const std::string& folder) {
    cpu_set_t all, one;
    sched_getaffinity(0, sizeof all, &all);
    bool served = true;
    for (const bool pinned : {false, true}) {
        if (pinned) {
            CPU_ZERO(&one);
            CPU_SET(sched_getcpu(), &one);
            sched_setaffinity(0, sizeof one, &one);
        }
        for (const bool busy : {false, true})
            served &= measure(
                kind, folder, busy,
                kind + (pinned ? ", pinned" : ", not pinned") + (busy ? ", busy" : ", idle"));
    }
    sched_setaffinity(0, sizeof all, &all);
    return served;
}

}  // namespace

int main(int argc, char** argv) {
    std::string folder = "/tmp/velkarisBenchXXXXXX";
    if (!mkdtemp(folder.data()))
        return 1;
    int status = 77;
    for (const std::string kind : {"cuse", "fuse", "socket"}) {
        if (argc > 1 && kind != argv[1])
            continue;
        if (!kernelOffers(kind)) {
            fprintf(stderr, "nodeBench: no /dev/%s here\n", kind.c_str());
            continue;
        }
        status = measureKind(kind, folder) ? 0 : 1;
        if (status != 0)
            break;
    }
    rmdir(folder.c_str());
    return status;
}
