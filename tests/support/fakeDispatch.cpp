#include "support/fakeDispatch.h"

#include <errno.h>

#include <algorithm>
#include <cstring>

#include "support/callLog.h"

FakeDispatch fakeDispatch;

namespace {

int dispatchData;
dispatch_t* const kDispatch = reinterpret_cast<dispatch_t*>(&dispatchData);

// Two, because a wait may hand out another context than it was given.
dispatch_context_t contexts[2];

const char* nameOf(const dispatch_t* dispatch) {
    return dispatch == kDispatch ? "dispatch" : "unexpected";
}

const char* nameOf(const dispatch_context_t* context) {
    if (context == &contexts[0])
        return "first context";
    return context == &contexts[1] ? "second context" : "unexpected";
}

const char* nullness(const void* pointer) {
    return pointer ? "given" : "null";
}

int anyDefault(resmgr_context_t*, io_read_t*, RESMGR_OCB_T*) {
    return ENOSYS;
}

void recordHanded(const void* context, const void* message, const void* ocb) {
    fakeDispatch.handedContext = context;
    fakeDispatch.handedMessage = message;
    fakeDispatch.handedOcb = ocb;
}

template <typename T>
T takeFirst(std::deque<T>* script, T whenEmpty) {
    if (script->empty())
        return whenEmpty;
    const T first = script->front();
    script->pop_front();
    return first;
}

}  // namespace

dispatch_t* dispatch_create() {
    recordCall("dispatch_create()");
    return fakeDispatch.createsDispatch ? kDispatch : nullptr;
}

// Clears the tables like the real one: handlers that were put in before are lost.
void iofunc_func_init(unsigned connectCount, resmgr_connect_funcs_t* connect, unsigned ioCount,
                      resmgr_io_funcs_t* io) {
    recordCall("iofunc_func_init(%u, %u)", connectCount, ioCount);
    *connect = {};
    connect->nfuncs = connectCount;
    *io = {};
    io->nfuncs = ioCount;
    io->read = anyDefault;
}

void iofunc_attr_init(iofunc_attr_t* attributes, mode_t mode, iofunc_attr_t* parent,
                      struct _client_info* info) {
    recordCall("iofunc_attr_init(0x%x, %s, %s)", mode, nullness(parent), nullness(info));
    *attributes = {};
    attributes->mode = mode;
}

int resmgr_attach(dispatch_t* dispatch, resmgr_attr_t* attributes, const char* path,
                  enum _file_type fileType, unsigned flags,
                  const resmgr_connect_funcs_t* connectFunctions,
                  const resmgr_io_funcs_t* ioFunctions, RESMGR_HANDLE_T* node) {
    recordCall("resmgr_attach(%s, %s, %d, %u)", nameOf(dispatch), path, fileType, flags);
    fakeDispatch.attachedAttributes = *attributes;
    fakeDispatch.attachedPath = path;
    fakeDispatch.attachedConnect = *connectFunctions;
    fakeDispatch.attachedIo = *ioFunctions;
    fakeDispatch.attachedNode = *node;
    return fakeDispatch.attachResult;
}

dispatch_context_t* dispatch_context_alloc(dispatch_t* dispatch) {
    recordCall("dispatch_context_alloc(%s)", nameOf(dispatch));
    return fakeDispatch.allocatesContext ? &contexts[0] : nullptr;
}

int pulse_attach(dispatch_t* dispatch, int flags, int code,
                 int (*handler)(message_context_t*, int, unsigned, void*), void* handle) {
    recordCall("pulse_attach(%s, 0x%x, %d, %s)", nameOf(dispatch), flags, code, nullness(handle));
    fakeDispatch.pulseHandler = handler;
    return fakeDispatch.pulseCode;
}

int message_connect(dispatch_t* dispatch, int flags) {
    recordCall("message_connect(%s, 0x%x)", nameOf(dispatch), flags);
    return fakeDispatch.connection;
}

int TimerCreate(clockid_t clock, const struct sigevent* event) {
    recordCall("TimerCreate(%d)", clock);
    fakeDispatch.timerEvent = *event;
    return fakeDispatch.timer;
}

int TimerSettime(int timer, int flags, const struct _itimer* interval, struct _itimer* old) {
    recordCall("TimerSettime(%d, %d, %s)", timer, flags, nullness(old));
    fakeDispatch.timerInterval = *interval;
    return fakeDispatch.timerSettimeResult;
}

dispatch_context_t* dispatch_block(dispatch_context_t* context) {
    recordCall("dispatch_block(%s)", nameOf(context));
    if (fakeDispatch.atFirstBlock) {
        const std::function<void()> act = std::move(fakeDispatch.atFirstBlock);
        fakeDispatch.atFirstBlock = nullptr;
        act();
    }
    return takeFirst(&fakeDispatch.blocks, true) ? &contexts[1] : nullptr;
}

int dispatch_handler(dispatch_context_t* context) {
    recordCall("dispatch_handler(%s)", nameOf(context));
    const int result = takeFirst(&fakeDispatch.handlerResults, -1);
    errno = result == 0 ? 0 : fakeDispatch.handlerError;
    return result;
}

int iofunc_write_verify(resmgr_context_t* context, io_write_t* message, iofunc_ocb_t* ocb,
                        int* nonblock) {
    recordCall("iofunc_write_verify(%s)", nullness(nonblock));
    recordHanded(context, message, ocb);
    return fakeDispatch.writeVerifyResult;
}

int iofunc_devctl_default(resmgr_context_t* context, io_devctl_t* message, iofunc_ocb_t* ocb) {
    recordCall("iofunc_devctl_default()");
    recordHanded(context, message, ocb);
    return fakeDispatch.devctlDefaultResult;
}

ssize_t resmgr_msgread(resmgr_context_t* context, void* buffer, size_t size, size_t offset) {
    recordCall("resmgr_msgread(%zu, %zu)", size, offset);
    if (context != fakeDispatch.handedContext)  // another client's message
        return -1;
    const std::vector<uint8_t>& message = fakeDispatch.clientMessage;
    if (offset >= message.size())
        return 0;
    const size_t count = std::min(size, message.size() - offset);
    memcpy(buffer, message.data() + offset, count);
    return static_cast<ssize_t>(count);
}
