// The framework's own handlers for messages that a server leaves to it, with no transport between.
#include "platform/resmgr/deviceServerFixture.h"

namespace {

class DefaultHandlers : public DeviceServerFixture {
protected:
    DefaultHandlers() { attr_.flags = 0; }

    // The message of a write of `sent` bytes that says it has `told`.
    io_write_t* message(uint32_t told, uint32_t sent, uint32_t xtype = _IO_XTYPE_NONE) {
        io_write_t* const msg = reinterpret_cast<io_write_t*>(ctp_->msg);
        *msg = {};
        msg->i.type = _IO_WRITE;
        msg->i.nbytes = told;
        msg->i.xtype = xtype;
        ctp_->offset = 0;
        ctp_->info.srcmsglen = static_cast<int32_t>(sizeof(*msg) + sent);
        return msg;
    }
};

TEST_F(DefaultHandlers, AWriteIsTakenWholeAndChangesTheTimes) {
    const DeviceReply reply = server_.write({ctp_, {7, 8}, ocb_}, "hello", 5);
    EXPECT_EQ(reply.error, EOK);
    EXPECT_EQ(reply.result, 5);
    EXPECT_EQ(attr_.flags & (IOFUNC_ATTR_MTIME | IOFUNC_ATTR_CTIME),
              static_cast<uint32_t>(IOFUNC_ATTR_MTIME | IOFUNC_ATTR_CTIME));
}

TEST_F(DefaultHandlers, AnEmptyWriteChangesNoTime) {
    EXPECT_EQ(server_.write({ctp_, {7, 8}, ocb_}, "", 0).error, EOK);
    EXPECT_EQ(attr_.flags & IOFUNC_ATTR_MTIME, 0u);
}

TEST_F(DefaultHandlers, APositionedWriteIsNotSupported) {
    EXPECT_EQ(iofunc_write_default(ctp_, message(5, 8 + 5, _IO_XTYPE_OFFSET), ocb_), ENOSYS);
}

TEST_F(DefaultHandlers, AWriteOfAnotherKindIsInvalid) {
    EXPECT_EQ(iofunc_write_default(ctp_, message(5, 5, 7), ocb_), EINVAL);
}

TEST_F(DefaultHandlers, AWriteThatTellsMoreThanItSentIsInvalid) {
    EXPECT_EQ(iofunc_write_default(ctp_, message(6, 5), ocb_), EINVAL);
    EXPECT_EQ(iofunc_write_default(ctp_, message(5, 5), ocb_), EOK);
}

TEST_F(DefaultHandlers, AVerifiedWriteTellsWhetherItsOpenWaits) {
    int nonblock = -1;
    EXPECT_EQ(iofunc_write_verify(ctp_, message(1, 1), ocb_, &nonblock), EOK);
    EXPECT_EQ(nonblock, 0);
    ocb_->ioflag |= O_NONBLOCK;
    EXPECT_EQ(iofunc_write_verify(ctp_, message(1, 1), ocb_, &nonblock), EOK);
    EXPECT_EQ(nonblock, 1);
}

}  // namespace
