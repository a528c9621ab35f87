#include "dispatch/channel.h"

#include <cerrno>
#include <new>
#include <utility>

namespace {

// A receive buffer smaller than this is raised: every fixed message header has to fit.
constexpr size_t kMessageBytesMin = sizeof(resmgr_iomsgs_t);

// Never freed: contexts and timers point to the handles until the process ends.
std::vector<std::unique_ptr<dispatch_t>>& channels() {
    static auto* all = new std::vector<std::unique_ptr<dispatch_t>>;
    return *all;
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
    if (!channel) {
        errno = ENOMEM;
        return nullptr;
    }
    channel->number = static_cast<int>(channels().size());
    channel->messageBytes = kMessageBytesMin;
    channels().push_back(std::move(channel));
    return channels().back().get();
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
    dpp->pulses[code] = {func, handle};
    dpp->attached = true;
    return code;
}

int message_connect(dispatch_t* dpp, int) {
    if (!dpp || !dpp->attached)
        return fail(EINVAL);
    return dpp->number | _NTO_SIDE_CHANNEL;
}
