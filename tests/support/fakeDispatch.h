// The message framework: dispatch, resource manager, default handlers, pulses and timers. Nothing
// is delivered by itself; a test scripts what each wait and each handler call gives.
#pragma once

#include <sys/iofunc.h>
// iofunc first: it gives dispatch its control block types.
#include <sys/dispatch.h>
#include <sys/neutrino.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

struct FakeDispatch {
    bool createsDispatch = true;
    int attachResult = 3;
    bool allocatesContext = true;
    int pulseCode = 5;
    int connection = _NTO_SIDE_CHANNEL | 9;
    int timer = 4;
    int timerSettimeResult = 0;
    std::deque<bool> blocks;             // whether each wait succeeds; used up: it does
    std::deque<int> handlerResults;      // used up: -1, which ends the loop
    int handlerError = EBADF;            // errno of a failing handler call
    std::function<void()> atFirstBlock;  // what a client would do once the node is there

    int writeVerifyResult = 0;
    int devctlDefaultResult = _RESMGR_DEFAULT;
    std::vector<uint8_t> clientMessage;  // header and data, what resmgr_msgread reads from

    // What the default handlers were last called with.
    const void* handedContext = nullptr;
    const void* handedMessage = nullptr;
    const void* handedOcb = nullptr;

    // What the service handed over, copied at the call.
    resmgr_attr_t attachedAttributes = {};
    resmgr_connect_funcs_t attachedConnect = {};
    resmgr_io_funcs_t attachedIo = {};
    iofunc_attr_t attachedNode = {};
    std::string attachedPath;
    int (*pulseHandler)(message_context_t*, int, unsigned, void*) = nullptr;
    struct sigevent timerEvent = {};
    struct _itimer timerInterval = {};
};

extern FakeDispatch fakeDispatch;
