#include <sys/dispatch.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "dispatch/channel.h"
#include "dispatch/eventLoop.h"
#include "dispatch/pulseTimers.h"

namespace {

// A receive buffer smaller than this is raised: every fixed message header has to fit.
constexpr size_t kMessageBytesMin = sizeof(resmgr_iomsgs_t);

// A context as it is allocated. The reply vector runs past the end of `context`, so that one is
// last and the allocation longer than the record.
struct ContextBlock {
    LoopThing held;  // what dispatch_handler is to handle
    bool holding = false;
    dispatch_context_t context;
};

// Never freed: contexts and timers point to the handles until the process ends.
std::vector<std::unique_ptr<dispatch_t>>& channels() {
    static auto* all = new std::vector<std::unique_ptr<dispatch_t>>;
    return *all;
}

ContextBlock* blockOf(dispatch_context_t* ctp) {
    char* const context = reinterpret_cast<char*>(ctp);
    return reinterpret_cast<ContextBlock*>(context - offsetof(ContextBlock, context));
}

template <typename T>
T* fail(int error, T* nothing = nullptr) {
    errno = error;
    return nothing;
}

int fail(int error) {
    errno = error;
    return -1;
}

int freePulseCode(const dispatch_t& channel) {
    for (int code = _PULSE_CODE_MINAVAIL; code <= _PULSE_CODE_MAXAVAIL; ++code)
        if (!channel.pulses[code].func)
            return code;
    return -1;
}

void handlePulse(dispatch_context_t* ctp, int timer) {
    const struct sigevent& event = pulseTimerEvent(timer);
    const dispatch_t* const channel = channelOfConnection(event.sigev_coid);
    const int code = static_cast<short>(event.sigev_code);
    if (code < _PULSE_CODE_MINAVAIL || code > _PULSE_CODE_MAXAVAIL)
        return;
    const PulseHandler& handler = channel->pulses[code];
    if (!handler.func)
        return;  // a pulse that nobody attached is dropped

    message_context_t* const context = &ctp->message_context;
    _pulse pulse = {};
    pulse.code = static_cast<int8_t>(code);
    pulse.value = event.sigev_value;
    context->msg->pulse = pulse;
    context->rcvid = 0;  // nobody to reply to
    context->size = sizeof(pulse);
    handler.func(context, code, handler.flags, handler.handle);
}

}  // namespace

int channelReserve(dispatch_t* dpp, size_t messageBytes, unsigned parts) {
    if (!dpp->contexts.empty() && (messageBytes > dpp->messageBytes || parts > dpp->parts))
        return EINVAL;
    if (messageBytes > dpp->messageBytes)
        dpp->messageBytes = messageBytes;
    if (parts > dpp->parts)
        dpp->parts = parts;
    dpp->attached = true;
    return EOK;
}

dispatch_t* channelOfConnection(int coid) {
    const int number = coid & ~_NTO_SIDE_CHANNEL;
    if (coid == number || number < 0 || static_cast<size_t>(number) >= channels().size())
        return nullptr;
    return channels()[number].get();
}

dispatch_t* dispatch_create(void) {
    std::unique_ptr<dispatch_t> channel(new (std::nothrow) dispatch_t);
    if (!channel)
        return fail<dispatch_t>(ENOMEM);
    channel->number = static_cast<int>(channels().size());
    channel->messageBytes = kMessageBytesMin;
    channels().push_back(std::move(channel));
    return channels().back().get();
}

dispatch_context_t* dispatch_context_alloc(dispatch_t* dpp) {
    if (!dpp || !dpp->attached)
        return fail<dispatch_context_t>(EINVAL);
    const size_t blockBytes = sizeof(ContextBlock) + dpp->parts * sizeof(iov_t);
    std::unique_ptr<char[]> room(new (std::nothrow) char[blockBytes]());
    std::unique_ptr<char[]> message(new (std::nothrow) char[dpp->messageBytes]());
    if (!room || !message)
        return fail<dispatch_context_t>(ENOMEM);
    ContextBlock* const block = new (room.get()) ContextBlock;
    memset(&block->context, 0, sizeof(block->context));
    resmgr_context_t& context = block->context.resmgr_context;
    context.dpp = dpp;
    context.msg = reinterpret_cast<resmgr_iomsgs_t*>(message.get());
    context.msg_max_size = dpp->messageBytes;
    dpp->contexts.push_back(std::move(room));
    dpp->contexts.push_back(std::move(message));
    return &block->context;
}

dispatch_context_t* dispatch_block(dispatch_context_t* ctp) {
    if (!ctp)
        return fail<dispatch_context_t>(EINVAL);
    ContextBlock* const block = blockOf(ctp);
    block->holding = false;
    if (!eventLoopNext(&block->held))
        return nullptr;
    block->holding = true;
    return ctp;
}

int dispatch_handler(dispatch_context_t* ctp) {
    if (!ctp || !blockOf(ctp)->holding)
        return fail(EINVAL);
    ContextBlock* const block = blockOf(ctp);
    block->holding = false;
    if (block->held.serve)
        block->held.serve(block->held.data, &ctp->resmgr_context);
    else
        handlePulse(ctp, block->held.pulseTimer);
    return 0;
}

int pulse_attach(dispatch_t* dpp, int flags, int code,
                 int (*func)(message_context_t* ctp, int code, unsigned flags, void* handle),
                 void* handle) {
    if (!dpp || !func)
        return fail(EINVAL);
    if (flags & MSG_FLAG_ALLOC_PULSE)
        code = freePulseCode(*dpp);
    else if (code < _PULSE_CODE_MINAVAIL || code > _PULSE_CODE_MAXAVAIL)
        return fail(EINVAL);
    if (code < 0)
        return fail(EAGAIN);
    dpp->pulses[code] = {func, handle, 0};
    dpp->attached = true;
    return code;
}

int message_connect(dispatch_t* dpp, int) {
    if (!dpp || !dpp->attached)
        return fail(EINVAL);
    return dpp->number | _NTO_SIDE_CHANNEL;
}
