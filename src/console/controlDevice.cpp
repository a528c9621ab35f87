#include "console/controlDevice.h"

#include <errno.h>

#include <cstdlib>
#include <cstring>

#include "console/consoleModel.h"
#include "console/protocol.h"
#include "text/lineSplit.h"

static_assert(sizeof(ConsoleItemHeader) == 12, "the string area follows the header at once");
static_assert(sizeof(io_write_t) == 16 && sizeof(io_devctl_t) == 16, "data follows the header");

namespace {

// What the receive buffer holds behind the message header. Untrusted: any bytes, any length.
struct Payload {
    const char* data;
    size_t size;
};

// A heap copy of the text at `offset` of the payload, owned by the caller. It ends at its NUL or,
// lacking one, where the payload ends. Null if the offset lies outside.
char* copyText(const Payload& payload, size_t offset) {
    if (offset >= payload.size)
        return nullptr;
    const char* start = payload.data + offset;
    const size_t room = payload.size - offset;
    const void* end = memchr(start, '\0', room);
    const size_t length = end ? static_cast<const char*>(end) - start : room;

    char* copy = static_cast<char*>(malloc(length + 1));
    memcpy(copy, start, length);
    copy[length] = '\0';
    return copy;
}

// The same for an offset as the item header gives it, counted from the string area.
char* copyAreaText(const Payload& payload, int32_t areaOffset) {
    if (areaOffset < 0)
        return nullptr;
    return copyText(payload, sizeof(ConsoleItemHeader) + static_cast<size_t>(areaOffset));
}

int setStatus(const Payload& payload) {
    free(consoleStatus.statusText);
    consoleStatus.statusText = copyText(payload, 0);
    return EOK;
}

int setPercent(const Payload& payload) {
    memcpy(&consoleStatus.overallPercent, payload.data, sizeof(consoleStatus.overallPercent));
    return EOK;
}

int addItem(const Payload& payload) {
    ConsoleItemHeader header;
    memcpy(&header, payload.data, sizeof(header));
    char* name = copyAreaText(payload, header.nameOffset);
    char* label = copyAreaText(payload, header.labelOffset);
    const bool readable = name && label;

    // Adding a name again succeeds and changes nothing, so that a client may add before each use.
    if (!readable || consoleListFind(&consoleList, name)) {
        free(name);
        free(label);
        return readable ? EOK : EINVAL;
    }

    ConsoleEntry* item = static_cast<ConsoleEntry*>(malloc(sizeof(ConsoleEntry)));
    item->name = name;
    item->text = label;
    item->percent = header.percent;
    item->elapsedSeconds = 0;
    consoleListAppend(&consoleList, item);
    return EOK;
}

int updateItem(const Payload& payload) {
    ConsoleItemHeader header;
    memcpy(&header, payload.data, sizeof(header));
    char* name = copyAreaText(payload, header.nameOffset);
    if (!name)
        return EINVAL;

    if (ConsoleEntry* item = consoleListFind(&consoleList, name))
        item->percent = header.percent;
    free(name);
    return EOK;
}

struct Command {
    uint32_t code;
    size_t leastPayload;  // bytes; what the code declares
    int (*run)(const Payload& payload);
};

constexpr Command kCommands[] = {
    {DCMD_CONSOLE_SET_STATUS, sizeof(char), setStatus},
    {DCMD_CONSOLE_SET_PERCENT, sizeof(int32_t), setPercent},
    {DCMD_CONSOLE_ADD_ITEM, sizeof(ConsoleItemHeader), addItem},
    {DCMD_CONSOLE_UPDATE_ITEM, sizeof(ConsoleItemHeader), updateItem},
};

const Command* findCommand(uint32_t code) {
    for (const Command& command : kCommands) {
        if (command.code == code)
            return &command;
    }
    return nullptr;
}

}  // namespace

int consoleIoWrite(resmgr_context_t* context, io_write_t* message, RESMGR_OCB_T* ocb) {
    const int refusal = iofunc_write_verify(context, message, ocb, nullptr);
    if (refusal != EOK)
        return refusal;
    if ((message->i.xtype & _IO_XTYPE_MASK) != _IO_XTYPE_NONE)
        return ENOSYS;

    const size_t size = message->i.nbytes;
    _IO_SET_WRITE_NBYTES(context, size);

    // Cleared, with one byte more: the text is terminated even if less than announced arrives.
    char* text = static_cast<char*>(calloc(size + 1, 1));
    if (!text)
        return ENOMEM;
    (void)resmgr_msgread(context, text, size, sizeof(message->i));
    appendTextLines(&consoleList, text);
    free(text);

    if (size > 0)
        ocb->attr->flags |= IOFUNC_ATTR_MTIME | IOFUNC_ATTR_CTIME;
    return EOK;
}

int consoleIoDevctl(resmgr_context_t* context, io_devctl_t* message, RESMGR_OCB_T* ocb) {
    const int common = iofunc_devctl_default(context, message, ocb);
    if (common != static_cast<int>(_RESMGR_DEFAULT))
        return common;

    const Command* command = findCommand(static_cast<uint32_t>(message->i.dcmd));
    if (!command)
        return ENOSYS;

    const size_t received = context->size;
    const Payload payload = {static_cast<const char*>(_DEVCTL_DATA(message->i)),
                             received > sizeof(message->i) ? received - sizeof(message->i) : 0};
    if (payload.size < command->leastPayload)
        return EINVAL;
    const int result = command->run(payload);
    if (result != EOK)
        return result;

    memset(&message->o, 0, sizeof(message->o));
    SETIOV(context->iov + 0, &message->o, sizeof(message->o));
    return _RESMGR_NPARTS(1);
}
