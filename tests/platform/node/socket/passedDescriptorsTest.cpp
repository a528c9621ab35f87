// Clients that pass descriptors to the service. It takes none, so that nothing of a stranger's has
// to be closed here: neither a file whose file system never answers, nor too many of them.
#define FUSE_USE_VERSION 312
#include <fcntl.h>
#include <fuse_lowlevel.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <vector>

#include "node/place/mountTable.h"
#include "platform/node/socket/socketFixture.h"

namespace {

constexpr unsigned kPassRights = 83;   // the option SO_PASSRIGHTS
constexpr size_t kPassedAtOnce = 253;  // as many as the system lets one packet carry

// For this process setsockopt() does not know the option, as on older systems.
void hideOption() {
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_setsockopt, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kPassRights, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOPROTOOPT),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {sizeof steps / sizeof steps[0], steps};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        _exit(4);
}

bool systemKnowsOption() {
    const FileDescriptor probe(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const int no = 0;
    return setsockopt(probe.get(), SOL_SOCKET, kPassRights, &no, sizeof no) == 0;
}

// Sends `bytes` as one packet and passes the descriptors along. False with errno.
bool pass(const FileDescriptor& to, const std::string& bytes, const std::vector<int>& descriptors) {
    const size_t size = descriptors.size() * sizeof(int);
    std::vector<char> control(CMSG_SPACE(size));
    iovec data = {const_cast<char*>(bytes.data()), bytes.size()};
    msghdr message = {};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const passed = CMSG_FIRSTHDR(&message);
    passed->cmsg_level = SOL_SOCKET;
    passed->cmsg_type = SCM_RIGHTS;
    passed->cmsg_len = CMSG_LEN(size);
    memcpy(CMSG_DATA(passed), descriptors.data(), size);
    return sendmsg(to.get(), &message, MSG_NOSIGNAL) >= 0;
}

std::string requestBytes(uint32_t kind, uint64_t length) {
    const DevctlPacket packet = packetOf(kind, length);
    return {reinterpret_cast<const char*>(&packet), sizeof packet};
}

// A file of a file system of its own, whose close() never returns.
class FileThatNeverCloses {
public:
    explicit FileThatNeverCloses(const std::string& path) : path_(path) {
        std::ofstream make(path_);
        int ready[2];
        EXPECT_EQ(pipe2(ready, O_CLOEXEC), 0);
        const FileDescriptor mounted(ready[0]);
        FileDescriptor told(ready[1]);
        server_ = fork();
        if (server_ == 0)
            serve(told.get());
        told.reset();
        char yes;
        if (read(mounted.get(), &yes, 1) == 1)
            file_.reset(open(path_.c_str(), O_RDWR | O_CLOEXEC));
    }
    // The file system goes first: closing waits for its answer else.
    ~FileThatNeverCloses() {
        kill(server_, SIGKILL);
        waitpid(server_, nullptr, 0);
        file_.reset();
        detachMount(path_);
    }

    explicit operator bool() const { return static_cast<bool>(file_); }
    int get() const { return file_.get(); }

private:
    [[noreturn]] void serve(int told) const {
        fuse_lowlevel_ops operations = {};
        operations.getattr = [](fuse_req_t request, fuse_ino_t, fuse_file_info*) {
            struct stat found = {};
            found.st_ino = 1;
            found.st_mode = S_IFREG | 0666;
            found.st_nlink = 1;
            fuse_reply_attr(request, &found, 0);
        };
        operations.open = [](fuse_req_t request, fuse_ino_t, fuse_file_info* file) {
            fuse_reply_open(request, file);
        };
        operations.flush = [](fuse_req_t, fuse_ino_t, fuse_file_info*) {};
        char name[] = "neverCloses";
        char* arguments[] = {name, nullptr};
        fuse_args args = FUSE_ARGS_INIT(1, arguments);
        fuse_session* const session =
            fuse_session_new(&args, &operations, sizeof operations, nullptr);
        if (!session || fuse_session_mount(session, path_.c_str()) != 0 || write(told, "y", 1) != 1)
            _exit(1);
        fuse_session_loop(session);
        _exit(0);
    }

    std::string path_;
    pid_t server_;
    FileDescriptor file_;
};

// On a system with the option and on one without.
class PassedDescriptors : public SocketNodeTest, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override {
        if (GetParam() && !systemKnowsOption())
            GTEST_SKIP() << "the system cannot keep others from passing descriptors";
        serve(GetParam() ? std::function<void()>() : hideOption);
    }

    // Where the sender can be kept from it, it is.
    void expectPassed(bool passed) const {
        const int error = errno;
        EXPECT_EQ(passed, !GetParam());
        if (!passed) {
            EXPECT_EQ(error, EPERM);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Systems, PassedDescriptors, testing::Bool(), [](const auto& system) {
    return system.param ? "WithTheOption" : "WithoutIt";
});

TEST_P(PassedDescriptors, NeverFillTheTable) {
    const FileDescriptor file(open("/dev/null", O_RDWR | O_CLOEXEC));
    const std::vector<int> many(kPassedAtOnce, file.get());
    const size_t before = openFiles(node_->process());
    std::vector<FileDescriptor> clients;
    for (size_t i = 1; i <= 30; ++i) {
        clients.push_back(connectRaw());
        expectPassed(pass(clients.back(), requestBytes(kDevctlPacketOpen, 0), many));
        expectAlive();
        EXPECT_LE(openFiles(node_->process()), before + i + 2);  // one a client, and ours
    }
    clients.clear();
    expectOpenFiles(before);
}

TEST_P(PassedDescriptors, AreNotTakenFromAConnectionThatWasAcceptedBefore) {
    const FileDescriptor file(open("/dev/null", O_RDWR | O_CLOEXEC));
    const FileDescriptor opened = openNode();
    expectAlive();
    expectPassed(pass(opened, requestBytes(kDevctlPacketWrite, 0), {file.get()}));
    expectAlive();
}

TEST_P(PassedDescriptors, AreNotTakenWithTheRestOfAWrite) {
    const FileDescriptor file(open("/dev/null", O_RDWR | O_CLOEXEC));
    const FileDescriptor client = connectRaw();
    ASSERT_TRUE(sendPartOfWrite(client, kDevctlPacketBytes + 4, kDevctlPacketBytes));
    expectAlive();
    const size_t before = openFiles(node_->process());
    expectPassed(pass(client, "re", {file.get()}));
    EXPECT_EQ(send(client.get(), GetParam() ? "rest" : "st", GetParam() ? 4 : 2, MSG_NOSIGNAL),
              GetParam() ? 4 : 2);
    EXPECT_EQ(node_->nextReport().read, kDevctlPacketBytes + 4);
    EXPECT_LE(openFiles(node_->process()), before);
}

TEST_P(PassedDescriptors, OfAFileThatNeverClosesNeitherStallTheServiceNorOutliveIt) {
    if (access("/dev/fuse", R_OK | W_OK) != 0)
        GTEST_SKIP() << "/dev/fuse cannot be opened: " << strerror(errno);
    const FileThatNeverCloses file(folder_.file("file"));
    ASSERT_TRUE(file);
    std::vector<FileDescriptor> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(connectRaw());
        expectPassed(pass(clients.back(), "rubbish", {file.get()}));
        expectAlive();
        clients.push_back(connectRaw());
        expectPassed(pass(clients.back(), requestBytes(kDevctlPacketOpen, 0), {file.get()}));
        expectAlive();
    }
    clients.clear();
    expectAlive();
    const int status = node_->end(SIGTERM);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
