// Memory of clients: theirs to give, ours not to wait for.
#include "node/fuse/clientMemory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/userfaultfd.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>

#include "ownership/fileDescriptor.h"

namespace {

uint64_t addressOf(const void* memory) {
    return reinterpret_cast<uint64_t>(memory);
}

// A page that whoever touches it waits for, until it is supplied.
class PageThatDoesNotArrive {
public:
    PageThatDoesNotArrive()
        : size_(static_cast<size_t>(sysconf(_SC_PAGESIZE))),
          fd_(static_cast<int>(syscall(SYS_userfaultfd, O_CLOEXEC))) {
        page_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        uffdio_api api = {};
        api.api = UFFD_API;
        uffdio_register range = {};
        range.range = {addressOf(page_), size_};
        range.mode = UFFDIO_REGISTER_MODE_MISSING;
        if (!fd_ || ioctl(fd_.get(), UFFDIO_API, &api) != 0 ||
            ioctl(fd_.get(), UFFDIO_REGISTER, &range) != 0)
            reason_ = strerror(errno);
    }
    ~PageThatDoesNotArrive() { munmap(page_, size_); }

    const std::string& whyNot() const { return reason_; }
    uint64_t address() const { return addressOf(page_); }
    void supply() {
        uffdio_zeropage zeros = {};
        zeros.range = {addressOf(page_), size_};
        EXPECT_EQ(ioctl(fd_.get(), UFFDIO_ZEROPAGE, &zeros), 0) << strerror(errno);
    }

private:
    size_t size_;
    FileDescriptor fd_;
    void* page_;
    std::string reason_;
};

TEST(ClientMemory, IsReadWhereItIs) {
    const char text[] = "sixteen letters.";
    ClientMemory memory(std::chrono::hours(1));
    const auto found = memory.read(getpid(), addressOf(text), sizeof(text));
    ASSERT_TRUE(found);
    EXPECT_STREQ(found->data(), text);
}

TEST(ClientMemory, ThatIsNotThereIsNone) {
    ClientMemory memory(std::chrono::hours(1));
    EXPECT_FALSE(memory.read(getpid(), 8, 16));
    EXPECT_FALSE(memory.read(0x7ffffff0, addressOf(&memory), 1));
}

TEST(ClientMemory, ThatDoesNotArriveIsNotWaitedFor) {
    PageThatDoesNotArrive page;
    if (!page.whyNot().empty())
        GTEST_SKIP() << "userfaultfd: " << page.whyNot();
    const int atHand = 42;
    ClientMemory memory(ClientMemory::kPatience, ClientMemory::Clock::duration::zero());
    EXPECT_FALSE(memory.read(getpid(), page.address(), 16));
    EXPECT_FALSE(memory.read(getpid(), addressOf(&atHand), sizeof(atHand)));
    page.supply();
    while (!memory.read(getpid(), addressOf(&atHand), sizeof(atHand)))
        std::this_thread::yield();
}

TEST(ClientMemory, IsNotReadForAWhileAfterThat) {
    PageThatDoesNotArrive page;
    if (!page.whyNot().empty())
        GTEST_SKIP() << "userfaultfd: " << page.whyNot();
    const int atHand = 42;
    ClientMemory memory(ClientMemory::kPatience, std::chrono::hours(1));
    EXPECT_FALSE(memory.read(getpid(), page.address(), 16));
    page.supply();
    for (int i = 0; i < 100; ++i) {
        EXPECT_FALSE(memory.read(getpid(), addressOf(&atHand), sizeof(atHand)));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace
