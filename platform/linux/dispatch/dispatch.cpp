// The message loop: what the context holds, and who goes first, a pulse or a message.
#include <sched.h>
#include <sys/dispatch.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "dispatch/channel.h"
#include "dispatch/eventLoop.h"
#include "dispatch/pulseTimers.h"
#include "supervisor/supervisor.h"

namespace {

// A context as it is allocated, with what dispatch_handler is to handle: a pulse, a message or
// neither. The reply vector runs past the end of `context`, so that one is last and the allocation
// longer than the record.
struct ContextBlock {
    const struct sigevent* pulse = nullptr;
    LoopMessage message;
    dispatch_context_t context;
};

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Pulses and messages take turns. After a pulse the messages that wait have as long as the pulse
// took, and one of them goes in any case. So redraws that are always late, or many of them at once,
// leave clients half of the time at least, and a flood of messages leaves redraws the other half.
// That holds for any number of clients behind one descriptor, which counting messages would not.
class Turns {
public:
    // A pulse during which the process was stopped has taken too long to be repaid.
    static constexpr milliseconds kLongest{1000};
    // How much of a turn may be spent on a client that has just got an answer and may go on.
    static constexpr int kShareOfLingering = 64;

    void pulseEnds(Clock::time_point began, Clock::time_point ended) {
        const Clock::duration taken = std::min<Clock::duration>(ended - began, kLongest);
        messagesUntil_ = ended + taken;
        linger_ = std::chrono::duration_cast<milliseconds>(taken) / kShareOfLingering;
        served_ = false;
    }

    void messageBegins() { served_ = true; }

    // Whether a message that waits goes before a pulse that waits.
    bool messagesFirst() const { return !served_ || Clock::now() < messagesUntil_; }

    // How long a pulse that waits is held back while no message does. A client needs a call or
    // more to open the node before its command; each would wait for another slow redraw.
    milliseconds linger() const { return served_ && messagesFirst() ? linger_ : milliseconds(0); }

private:
    Clock::time_point messagesUntil_;
    milliseconds linger_{0};
    bool served_ = true;  // a message since the last pulse
};

Turns turns;

// A client that has got its answer often calls again within microseconds. Looking for that call
// costs less than sleeping and being woken, which on several processors moves the loop to the one
// that sleeps. Where nothing comes in time the loop sleeps at once, each time for twice as many
// messages.
class BusyPolling {
public:
    void messageBegins() { served_ = true; }

    // True when something has come.
    bool poll() {
        if (!std::exchange(served_, false) || !severalProcessors())
            return false;
        if (skip_ > 0) {
            --skip_;
            return false;
        }
        for (int look = 0; look < kLooks; ++look) {
            eventLoopTurn(0);
            if (eventLoopHasMessage() || pulseTimersWaiting()) {
                penalty_ = 1;
                return true;
            }
        }
        skip_ = penalty_;
        penalty_ = std::min(2 * penalty_, kPenaltyMax);
        return false;
    }

private:
    static constexpr int kLooks = 100;  // some twenty microseconds
    static constexpr int kPenaltyMax = 256;

    static bool severalProcessors() {
        static const bool several = [] {
            cpu_set_t processors;
            return sched_getaffinity(0, sizeof processors, &processors) == 0 &&
                   CPU_COUNT(&processors) > 1;
        }();
        return several;
    }

    bool served_ = false;  // a message since the last sleep
    int skip_ = 0;         // sleeps before the next try
    int penalty_ = 1;      // for the next try in vain
};

BusyPolling busyPolling;

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
    const Clock::time_point began = Clock::now();
    handler.func(ctp, code, 0, handler.handle);
    turns.pulseEnds(began, Clock::now());
    tellSupervisorOfTick();
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

// Watchers run before pulses and messages: a signal to end and a window's events do not wait for a
// backlog of either.
dispatch_context_t* dispatch_block(dispatch_context_t* ctp) {
    if (!ctp)
        return fail(EINVAL);
    ContextBlock* const block = blockOf(ctp);
    block->pulse = nullptr;
    block->message = {};
    for (;;) {
        const bool late = pulseTimersWaiting();
        const int wait = late ? static_cast<int>(turns.linger().count()) : -1;
        if (!(wait < 0 && busyPolling.poll()) && !eventLoopTurn(wait) && !late)
            return nullptr;
        const bool pulseWaits = late || pulseTimersWaiting();
        if (pulseWaits && !(eventLoopHasMessage() && turns.messagesFirst()))
            block->pulse = pulseTimersTake();
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
    if (pulse) {
        handlePulse(&ctp->message_context, *pulse);
    } else {
        turns.messageBegins();
        busyPolling.messageBegins();
        message.serve(message.data, &ctp->resmgr_context);
    }
    return 0;
}
