// The message loop: what the context holds, and who goes first, a pulse or a message.
#include <sys/dispatch.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "dispatch/channel.h"
#include "dispatch/eventLoop.h"
#include "dispatch/pulseTimers.h"

namespace {

// A context as it is allocated, with what dispatch_handler is to handle: a pulse, a message or
// neither. The reply vector runs past the end of `context`, so that one is last and the allocation
// longer than the record.
struct ContextBlock {
    const struct sigevent* pulse = nullptr;
    LoopMessage message;
    dispatch_context_t context;
};

ContextBlock* blockOf(dispatch_context_t* ctp) {
    char* const context = reinterpret_cast<char*>(ctp);
    return reinterpret_cast<ContextBlock*>(context - offsetof(ContextBlock, context));
}

dispatch_context_t* fail(int error) {
    errno = error;
    return nullptr;
}

void handlePulse(message_context_t* ctp, const struct sigevent& event) {
    const int code = static_cast<short>(event.sigev_code);
    if (code < _PULSE_CODE_MINAVAIL || code > _PULSE_CODE_MAXAVAIL)
        return;
    const PulseHandler& handler = channelOfConnection(event.sigev_coid)->pulses[code];
    if (!handler.func)
        return;  // a pulse that nobody attached is dropped

    _pulse pulse = {};
    pulse.code = static_cast<int8_t>(code);
    pulse.value = event.sigev_value;
    ctp->msg->pulse = pulse;
    ctp->rcvid = 0;  // nobody to reply to
    ctp->size = sizeof pulse;
    handler.func(ctp, code, 0, handler.handle);
}

}  // namespace

dispatch_context_t* dispatch_context_alloc(dispatch_t* dpp) {
    if (!dpp || !dpp->attached)
        return fail(EINVAL);
    const size_t blockBytes = sizeof(ContextBlock) + dpp->parts * sizeof(iov_t);
    std::unique_ptr<char[]> room(new (std::nothrow) char[blockBytes]());
    std::unique_ptr<char[]> message(new (std::nothrow) char[dpp->messageBytes]());
    if (!room || !message)
        return fail(ENOMEM);
    ContextBlock* const block = new (room.get()) ContextBlock;
    std::memset(&block->context, 0, sizeof block->context);
    resmgr_context_t& context = block->context.resmgr_context;
    context.dpp = dpp;
    context.msg = reinterpret_cast<resmgr_iomsgs_t*>(message.get());
    context.msg_max_size = dpp->messageBytes;
    dpp->contexts.push_back(std::move(room));
    dpp->contexts.push_back(std::move(message));
    return &block->context;
}

// A pulse that is due goes first, so that a flood of messages does not hold up the clock. Watchers
// run before both: a signal to end and a window's events do not wait for a backlog of pulses.
dispatch_context_t* dispatch_block(dispatch_context_t* ctp) {
    if (!ctp)
        return fail(EINVAL);
    ContextBlock* const block = blockOf(ctp);
    block->message = {};
    for (;;) {
        block->pulse = pulseTimersTakeDue();
        if (!eventLoopTurn(!block->pulse) && !block->pulse)
            return nullptr;
        if (!block->pulse)
            block->pulse = pulseTimersTakeDue();  // it became due during the wait
        if (block->pulse || eventLoopTakeMessage(&block->message))
            return ctp;
    }
}

int dispatch_handler(dispatch_context_t* ctp) {
    ContextBlock* const block = ctp ? blockOf(ctp) : nullptr;
    if (!block || (!block->pulse && !block->message.serve)) {
        errno = EINVAL;
        return -1;
    }
    const struct sigevent* const pulse = std::exchange(block->pulse, nullptr);
    const LoopMessage message = std::exchange(block->message, {});
    if (pulse)
        handlePulse(&ctp->message_context, *pulse);
    else
        message.serve(message.data, &ctp->resmgr_context);
    return 0;
}
