// What handlers get and what becomes of what they return, with no transport in between.
#include <devctl.h>
#include <sys/dcmd_all.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "platform/resmgr/deviceServerFixture.h"

namespace {

std::function<int(resmgr_context_t*, io_write_t*, iofunc_ocb_t*)> onWrite;
std::function<int(resmgr_context_t*, io_devctl_t*, iofunc_ocb_t*)> onDevctl;

class DeviceServerTest : public DeviceServerFixture {
protected:
    DeviceServerTest() {
        io_.write = [](resmgr_context_t* ctp, io_write_t* msg, iofunc_ocb_t* ocb) {
            return onWrite(ctp, msg, ocb);
        };
        io_.devctl = [](resmgr_context_t* ctp, io_devctl_t* msg, iofunc_ocb_t* ocb) {
            return onDevctl(ctp, msg, ocb);
        };
    }

    void TearDown() override {
        DeviceServerFixture::TearDown();
        onWrite = nullptr;
        onDevctl = nullptr;
    }

    DeviceReply write(const std::string& data) {
        return server_.write({ctp_, {7, 8}, ocb_}, data.data(), data.size());
    }

    DeviceReply command(uint32_t code, const std::string& payload, DevctlMessage* message) {
        memset(message, 0, sizeof(*message));
        message->header.request.type = _IO_DEVCTL;
        message->header.request.command = static_cast<int32_t>(code);
        message->header.request.payloadBytes = static_cast<uint32_t>(payload.size());
        memcpy(message->payload, payload.data(), std::min<size_t>(payload.size(), 2032));
        return server_.devctl({ctp_, {7, 8}, ocb_}, message, sizeof(*message), sizeof(*message));
    }
};

TEST_F(DeviceServerTest, AHandlerSeesTheMessageAsItIsLaidOut) {
    onWrite = [&](resmgr_context_t* ctp, io_write_t* msg, iofunc_ocb_t* ocb) {
        EXPECT_EQ(msg->i.type, _IO_WRITE);
        EXPECT_EQ(msg->i.combine_len, 0);
        EXPECT_EQ(msg->i.nbytes, 5u);
        EXPECT_EQ(msg->i.xtype, 0u);
        EXPECT_EQ(memcmp(reinterpret_cast<char*>(msg) + 16, "hello", 5), 0);
        EXPECT_EQ(ctp->size, 21u);
        EXPECT_EQ(ctp->offset, 0u);
        EXPECT_EQ(ctp->status, 0);
        EXPECT_EQ(ctp->id, 5);
        EXPECT_EQ(ctp->msg_max_size, 2048u);
        EXPECT_EQ(ctp->info.srcmsglen, 21);
        EXPECT_EQ(ctp->info.tid, 8);
        EXPECT_EQ(ocb->attr, &attr_);
        return EOK;
    };
    EXPECT_EQ(write("hello").error, EOK);
}

TEST_F(DeviceServerTest, MsgreadCountsFromTheHeaderAndEndsWithTheMessage) {
    const std::string data(5000, 'd');
    struct Row {
        size_t size, offset, read;
    };
    const Row rows[] = {{5000, 16, 5000}, {5016, 0, 5016},     {9000, 16, 5000}, {10, 5010, 6},
                        {10, 5016, 0},    {10, 999999, 0},     {0, 16, 0},       {4, 14, 4},
                        {8, 8, 8},        {SIZE_MAX, 16, 5000}};
    onWrite = [&](resmgr_context_t* ctp, io_write_t*, iofunc_ocb_t*) {
        for (const Row& row : rows) {
            std::string room(6000, '?');
            EXPECT_EQ(resmgr_msgread(ctp, room.data(), row.size, row.offset),
                      static_cast<ssize_t>(row.read));
            EXPECT_EQ(room[row.read], '?');
        }
        std::string room(4, '?');
        EXPECT_EQ(resmgr_msgread(ctp, room.data(), 4, 14), 4);
        EXPECT_EQ(room.substr(2), "dd");
        return EOK;
    };
    EXPECT_EQ(write(data).error, EOK);
}

TEST_F(DeviceServerTest, MsgreadOutsideAMessageFails) {
    char byte;
    EXPECT_EQ(resmgr_msgread(ctp_, &byte, 1, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST_F(DeviceServerTest, WhatAHandlerReturnsDecidesTheReply) {
    struct Row {
        int returned;
        int error;
        bool none;
        size_t bytes;
    };
    const Row rows[] = {
        {EOK, EOK, false, 0},
        {ENOMEM, ENOMEM, false, 0},
        {static_cast<int>(_RESMGR_DEFAULT), ENOSYS, false, 0},
        {static_cast<int>(_RESMGR_NOREPLY), EOK, true, 0},
        {_RESMGR_NPARTS(1), EOK, false, 16},
        {_RESMGR_NPARTS(2), EOK, false, 20},
        {_RESMGR_NPARTS(1000), EOK, false, 20},
        {_RESMGR_ERRNO(EACCES), EACCES, false, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.returned);
        char more[4] = {1, 2, 3, 4};
        onDevctl = [&](resmgr_context_t* ctp, io_devctl_t* msg, iofunc_ocb_t*) {
            SETIOV(&ctp->iov[0], msg, 16);
            SETIOV(&ctp->iov[1], more, 4);
            return row.returned;
        };
        DevctlMessage message;
        const DeviceReply reply = command(0x1234, "", &message);
        EXPECT_EQ(reply.error, row.error);
        EXPECT_EQ(reply.none, row.none);
        EXPECT_EQ(reply.bytes, row.bytes);
        if (row.bytes == 20) {
            EXPECT_EQ(memcmp(message.payload, more, 4), 0);
        }
    }
}

TEST_F(DeviceServerTest, AnAcceptedWriteReportsItsStatus) {
    onWrite = [](resmgr_context_t* ctp, io_write_t* msg, iofunc_ocb_t*) {
        _IO_SET_WRITE_NBYTES(ctp, msg->i.nbytes);
        return EOK;
    };
    EXPECT_EQ(write("four").result, 4);
}

TEST_F(DeviceServerTest, APayloadIsCutAtTheReceiveBuffer) {
    onDevctl = [](resmgr_context_t* ctp, io_devctl_t* msg, iofunc_ocb_t*) {
        EXPECT_EQ(msg->i.nbytes, 5000u);
        EXPECT_EQ(ctp->size, 2048u);
        EXPECT_EQ(ctp->info.srcmsglen, 5016);
        return EOK;
    };
    DevctlMessage message;
    EXPECT_EQ(command(0x1234, std::string(5000, 'x'), &message).error, EOK);
}

TEST_F(DeviceServerTest, APayloadIsNoLongerThanItsSenderSays) {
    onDevctl = [](resmgr_context_t* ctp, io_devctl_t*, iofunc_ocb_t*) {
        EXPECT_EQ(ctp->size, 19u);
        return EOK;
    };
    DevctlMessage message;
    EXPECT_EQ(command(0x1234, "abc", &message).error, EOK);
}

TEST_F(DeviceServerTest, AMessageWithoutItsHeaderIsRefused) {
    char bytes[15] = {};
    EXPECT_EQ(server_.devctl({ctp_, {}, ocb_}, bytes, sizeof(bytes), sizeof(bytes)).error, EINVAL);
}

TEST_F(DeviceServerTest, ASlotWithoutAHandlerIsNotImplemented) {
    io_.write = nullptr;
    EXPECT_EQ(write("x").error, ENOSYS);
    connect_.open = nullptr;
    iofunc_ocb_t* ocb = nullptr;
    EXPECT_EQ(server_.open({ctp_, {}, nullptr}, O_RDONLY, &ocb).error, ENOSYS);
}

TEST_F(DeviceServerTest, DefaultCommands) {
    onDevctl = iofunc_devctl_default;
    DevctlMessage message;
    DeviceReply reply = command(DCMD_ALL_GETFLAGS, "1234", &message);
    int flags;
    memcpy(&flags, message.payload, sizeof(flags));
    EXPECT_EQ(reply.bytes, 20u);
    EXPECT_EQ(flags, O_RDWR);

    const int wanted = O_APPEND | O_WRONLY;  // the access mode stays what it is
    const std::string payload(reinterpret_cast<const char*>(&wanted), sizeof(wanted));
    EXPECT_EQ(command(DCMD_ALL_SETFLAGS, payload, &message).error, EOK);
    EXPECT_EQ(ocb_->ioflag & _IO_FLAG_WR, _IO_FLAG_WR);
    EXPECT_EQ(ocb_->ioflag & _IO_FLAG_RD, _IO_FLAG_RD);
    EXPECT_EQ(ocb_->ioflag & O_APPEND, O_APPEND);
    EXPECT_EQ(command(DCMD_ALL_SETFLAGS, "abc", &message).error, EINVAL);
    EXPECT_EQ(command(DCMD_ALL_GETMOUNTFLAGS, "1234", &message).bytes, 20u);
    EXPECT_EQ(command(DCMD_ALL_SETOWN, "1234", &message).error, ENOSYS);
}

TEST_F(DeviceServerTest, WriteVerify) {
    struct Row {
        int ioflag;
        uint32_t xtype, nbytes;
        int sent;
        int verdict;
    };
    const Row rows[] = {
        {_IO_FLAG_WR, _IO_XTYPE_NONE, 5, 21, EOK},
        {_IO_FLAG_RD | _IO_FLAG_WR, _IO_XTYPE_NONE, 0, 16, EOK},
        {_IO_FLAG_RD, _IO_XTYPE_NONE, 5, 21, EBADF},
        {0, _IO_XTYPE_OFFSET, 5, 29, EBADF},
        {_IO_FLAG_WR, _IO_XTYPE_OFFSET, 5, 29, EOK},
        {_IO_FLAG_WR, _IO_XTYPE_OFFSET | 0x100, 5, 29, EOK},
        {_IO_FLAG_WR, _IO_XTYPE_OFFSET, 5, 21, EINVAL},
        {_IO_FLAG_WR, _IO_XTYPE_NONE, 6, 21, EINVAL},
        {_IO_FLAG_WR, _IO_XTYPE_NONE, 0, 15, EINVAL},
        {_IO_FLAG_WR, _IO_XTYPE_READCOND, 5, 21, EINVAL},
        {_IO_FLAG_WR, 0xff, 5, 21, EINVAL},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        io_write_t message = {};
        message.i.xtype = row.xtype;
        message.i.nbytes = row.nbytes;
        iofunc_ocb_t ocb = {};
        ocb.ioflag = row.ioflag;
        ctp_->info.srcmsglen = row.sent;
        EXPECT_EQ(iofunc_write_verify(ctp_, &message, &ocb, nullptr), row.verdict);
    }
}

TEST_F(DeviceServerTest, OpensAreCountedByTheirAccess) {
    EXPECT_EQ(attr_.count, 1);
    iofunc_ocb_t* reader = nullptr;
    ASSERT_EQ(server_.open({ctp_, {}, nullptr}, O_RDONLY | O_TRUNC, &reader).error, EOK);
    EXPECT_EQ(attr_.count, 2);
    EXPECT_EQ(attr_.rcount, 2);
    EXPECT_EQ(attr_.wcount, 1);
    server_.close(ctp_, reader);
    EXPECT_EQ(attr_.count, 1);
}

TEST_F(DeviceServerTest, TimesBecomeNowWhenTheyAreAskedFor) {
    attr_.mtime = attr_.atime = attr_.ctime = 1000;
    attr_.flags |= IOFUNC_ATTR_MTIME | IOFUNC_ATTR_CTIME;
    struct stat found;
    ASSERT_EQ(server_.stat({ctp_, {}, ocb_}, &found).error, EOK);
    EXPECT_GT(found.st_mtim.tv_sec, 1000);
    EXPECT_GT(found.st_ctim.tv_sec, 1000);
    EXPECT_EQ(found.st_atim.tv_sec, 1000);
    EXPECT_EQ(attr_.flags, static_cast<uint32_t>(IOFUNC_ATTR_DIRTY_TIME));
    EXPECT_EQ(found.st_mode, static_cast<mode_t>(0x51b6));
}

TEST(IofuncInit, PutsDefaultsOnlyWhereThereIsRoom) {
    resmgr_io_funcs_t io;
    memset(&io, 0x55, sizeof(io));
    const resmgr_io_funcs_t before = io;
    iofunc_func_init(0, nullptr, 2, &io);
    EXPECT_EQ(io.nfuncs, 2u);
    EXPECT_EQ(io.write, iofunc_write_default);
    EXPECT_EQ(memcmp(&io.close_ocb, &before.close_ocb, sizeof(void*)), 0);
}

}  // namespace
