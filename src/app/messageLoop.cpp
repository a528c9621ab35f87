#include "app/messageLoop.h"

#include <errno.h>
#include <stdio.h>
#include <sys/iofunc.h>
// iofunc first: it gives dispatch its control block types.
#include <sys/dispatch.h>
#include <sys/neutrino.h>
#include <sys/stat.h>
#include <time.h>

#include <cstdint>
#include <cstring>

#include "app/settings.h"
#include "console/clockTick.h"
#include "console/controlDevice.h"
#include "console/protocol.h"

namespace {

constexpr uint64_t kTickNanoseconds = 1000000000;

// The framework keeps the addresses of these three.
resmgr_connect_funcs_t connectFunctions;
resmgr_io_funcs_t ioFunctions;
iofunc_attr_t nodeAttributes;

bool attachDevice(dispatch_t* dispatch) {
    resmgr_attr_t attributes;
    memset(&attributes, 0, sizeof(attributes));
    attributes.nparts_max = 1;
    attributes.msg_max_size = kConsoleReceiveBytes;

    iofunc_func_init(_RESMGR_CONNECT_NFUNCS, &connectFunctions, _RESMGR_IO_NFUNCS, &ioFunctions);
    ioFunctions.write = consoleIoWrite;
    ioFunctions.devctl = consoleIoDevctl;
    iofunc_attr_init(&nodeAttributes, S_IFNAM | 0666, nullptr, nullptr);

    return resmgr_attach(dispatch, &attributes, appSettings.devicePath, _FTYPE_ANY, 0,
                         &connectFunctions, &ioFunctions, &nodeAttributes) != -1;
}

// A pulse to this program's own channel each second, the first in one second.
bool startClock(dispatch_t* dispatch) {
    const int code = pulse_attach(dispatch, MSG_FLAG_ALLOC_PULSE, 0, ClockTick, nullptr);
    if (code == -1) {
        fprintf(stderr, "Unable to attach timer pulse.\n");
        return false;
    }
    const int connection = message_connect(dispatch, MSG_FLAG_SIDE_CHANNEL);
    if (connection == -1) {
        fprintf(stderr, "Unable to attach to channel.\n");
        return false;
    }

    struct sigevent event;
    memset(&event, 0, sizeof(event));
    event.sigev_notify = SIGEV_PULSE;
    event.sigev_coid = connection;
    event.sigev_value.sival_int = 0;
    event.sigev_code = static_cast<short>(code);
    event.sigev_priority = SIGEV_PULSE_PRIO_INHERIT;
    const int timer = TimerCreate(CLOCK_REALTIME, &event);
    if (timer == -1) {
        // What failed is the timer; the text stays as it is.
        fprintf(stderr, "Unable to attach channel and connection.\n");
        return false;
    }

    struct _itimer interval;
    memset(&interval, 0, sizeof(interval));
    interval.nsec = kTickNanoseconds;
    interval.interval_nsec = kTickNanoseconds;
    (void)TimerSettime(timer, 0, &interval, nullptr);
    return true;
}

// Ends only when a handler cannot be run.
int dispatchForever(dispatch_context_t* context) {
    for (;;) {
        dispatch_context_t* const received = dispatch_block(context);
        if (!received) {
            printf("block error\n");
            flushall();
            continue;
        }
        context = received;
        if (dispatch_handler(context) != 0) {
            fprintf(stderr, "dispatch error: %s\n", strerror(errno));
            flushall();
            return 1;
        }
    }
}

}  // namespace

int serveMessages(const char* programName) {
    dispatch_t* const dispatch = dispatch_create();
    if (!dispatch) {
        fprintf(stderr, "%s: Unable to allocate dispatch handle.\n", programName);
        return 1;
    }
    if (!attachDevice(dispatch)) {
        fprintf(stderr, "%s: Unable to attach name.\n", programName);
        return 1;
    }
    dispatch_context_t* const context = dispatch_context_alloc(dispatch);
    if (!context) {
        fprintf(stderr, "%s: Unable to allocate a context structure.\n", programName);
        return 1;
    }
    if (!startClock(dispatch))
        return 1;

    return dispatchForever(context);
}
