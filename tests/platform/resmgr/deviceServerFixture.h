// A server with an open, and no transport between it and the test.
#pragma once

#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/dispatch.h>

#include <cerrno>

#include "dispatch/channel.h"
#include "resmgr/deviceServer.h"

class DeviceServerFixture : public testing::Test {
protected:
    DeviceServerFixture() {
        iofunc_func_init(_RESMGR_CONNECT_NFUNCS, &connect_, _RESMGR_IO_NFUNCS, &io_);
        iofunc_attr_init(&attr_, S_IFNAM | 0666, nullptr, nullptr);
    }

    void SetUp() override {
        dispatch_t* const channel = dispatch_create();
        ASSERT_EQ(channelReserve(channel, 2048, 2), EOK);
        ctp_ = &dispatch_context_alloc(channel)->resmgr_context;
        ASSERT_EQ(server_.open({ctp_, {7, 8}, nullptr}, O_RDWR, &ocb_).error, EOK);
    }

    void TearDown() override { server_.close(ctp_, ocb_); }

    resmgr_connect_funcs_t connect_;
    resmgr_io_funcs_t io_;
    iofunc_attr_t attr_;
    DeviceServer server_{&connect_, &io_, &attr_, 5};
    resmgr_context_t* ctp_ = nullptr;
    iofunc_ocb_t* ocb_ = nullptr;
};
