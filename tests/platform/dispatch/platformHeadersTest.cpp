// The platform's names that Linux lacks, and layouts that both ends of a message rely on.
#include <devctl.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/dcmd_all.h>
#include <sys/iofunc.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>

namespace {

TEST(Getopt, StopsAtTheFirstOperand) {
    char program[] = "velkaris", operand[] = "extra", option[] = "-x";
    char* argv[] = {program, operand, option, nullptr};
    optind = 1;
    EXPECT_EQ(getopt(3, argv, ":x"), -1);
    EXPECT_EQ(optind, 1);
}

TEST(Getopt, ReportsAMissingArgumentByAColon) {
    char program[] = "velkaris", option[] = "-p";
    char* argv[] = {program, option, nullptr};
    optind = 1;
    EXPECT_EQ(getopt(2, argv, ":p:"), ':');
    EXPECT_EQ(optopt, 'p');
}

TEST(PlatformHeaders, NameWhatLinuxLacks) {
    EXPECT_EQ(EOK, 0);
    EXPECT_EQ(S_IFNAM | 0666, 0x51b6);
    EXPECT_EQ(flushall(), 0);
}

TEST(PlatformHeaders, CodesAreEncodedAsOnThePlatform) {
    EXPECT_EQ(DCMD_ALL_GETFLAGS, 0x40040101u);
    EXPECT_EQ(DCMD_ALL_SETFLAGS, 0x80040102u);
    EXPECT_EQ(__DIOTF(_DCMD_MISC, 9, int64_t), 0xc0080509u);
    EXPECT_EQ(__DION(_DCMD_MISC, 9), 0x509);
}

TEST(PlatformHeaders, ReturnCodesAreDistinct) {
    EXPECT_EQ(_RESMGR_NPARTS(1), -1);
    EXPECT_EQ(static_cast<unsigned>(_RESMGR_NOREPLY), 0x80000000u);
    EXPECT_EQ(static_cast<unsigned>(_RESMGR_DEFAULT), 0x80000001u);
    EXPECT_EQ(_RESMGR_CONNECT_NFUNCS, 8u);
    EXPECT_EQ(_RESMGR_IO_NFUNCS, 26u);
}

TEST(MessageLayout, HeadersAreSixteenBytes) {
    EXPECT_EQ(sizeof(io_write_t), 16u);
    EXPECT_EQ(offsetof(io_write_t, i.nbytes), 4u);
    EXPECT_EQ(offsetof(io_write_t, i.xtype), 8u);
    EXPECT_EQ(sizeof(io_devctl_t), 16u);
    EXPECT_EQ(offsetof(io_devctl_t, i.dcmd), 4u);
    EXPECT_EQ(offsetof(io_devctl_t, o.ret_val), 4u);
    EXPECT_EQ(offsetof(io_devctl_t, o.nbytes), 8u);
}

TEST(MessageLayout, AClientSendsWhatTheServerReads) {
    EXPECT_EQ(sizeof(DevctlMessage), 2048u);
    EXPECT_EQ(offsetof(DevctlMessage, payload), sizeof(io_devctl_t));
    EXPECT_EQ(offsetof(DevctlMessage, header.request.command), offsetof(io_devctl_t, i.dcmd));
    EXPECT_EQ(offsetof(DevctlMessage, header.reply.returnValue), offsetof(io_devctl_t, o.ret_val));
    EXPECT_EQ(kDevctlMessageType, _IO_DEVCTL);
}

// Nothing in this program includes <devctlSocket.h>.
TEST(Devctl, RefusesWhatIsNoNode) {
    int pipeEnds[2], sockets[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sockets), 0);
    for (const int fd : {pipeEnds[0], pipeEnds[1], sockets[0], sockets[1]}) {
        EXPECT_EQ(devctl(fd, __DION(_DCMD_MISC, 9), nullptr, 0, nullptr), ENOTTY);
        close(fd);
    }
}

TEST(DevctlResult, KeepsStatusAndLengthApart) {
    const int result = DEVCTL_RESULT(ENOSYS, 2048);
    EXPECT_GT(result, 0);
    EXPECT_EQ(DEVCTL_RESULT_STATUS(result), ENOSYS);
    EXPECT_EQ(DEVCTL_RESULT_BYTES(result), 2048u);
}

}  // namespace
