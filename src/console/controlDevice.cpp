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

// The text at `offset` of the payload; `size` ends at its NUL or, lacking one, where the payload
// ends. No data if the offset lies outside.
Payload findText(const Payload& payload, size_t offset) {
    if (offset >= payload.size)
        return {nullptr, 0};
    const char* start = payload.data + offset;
    const size_t room = payload.size - offset;
    const void* end = memchr(start, '\0', room);
    return {start, end ? static_cast<const char*>(end) - start : room};
}

// The same for an offset as the item header gives it, counted from the string area.
Payload findAreaText(const Payload& payload, int32_t areaOffset) {
    if (areaOffset < 0)
        return {nullptr, 0};
    return findText(payload, sizeof(ConsoleItemHeader) + static_cast<size_t>(areaOffset));
}

// A terminated heap copy, owned by the caller. Null without memory.
char* copyText(const Payload& text) {
    char* copy = static_cast<char*>(malloc(text.size + 1));
    if (copy) {
        memcpy(copy, text.data, text.size);
        copy[text.size] = '\0';
    }
    return copy;
}

int setStatus(const Payload& payload) {
    char* const text = copyText(findText(payload, 0));
    if (!text)
        return ENOMEM;
    free(consoleStatus.statusText);
    consoleStatus.statusText = text;
    return EOK;
}

int setPercent(const Payload& payload) {
    memcpy(&consoleStatus.overallPercent, payload.data, sizeof(consoleStatus.overallPercent));
    return EOK;
}

// Appends an item. Takes `name` over if that succeeds.
int appendItem(char* name, const Payload& label, int32_t percent) {
    if (consoleListItemCount(consoleList) >= kMostConsoleItems)
        return ENOSPC;
    ConsoleEntry* const item = newConsoleEntry(label.data, label.size);
    if (!item)
        return ENOMEM;
    item->percent = percent;
    item->name = name;
    if (!consoleListAppend(&consoleList, item)) {
        item->name = nullptr;
        freeConsoleEntry(item);
        return ENOMEM;
    }
    return EOK;
}

int addItem(const Payload& payload) {
    ConsoleItemHeader header;
    memcpy(&header, payload.data, sizeof(header));
    const Payload nameText = findAreaText(payload, header.nameOffset);
    if (!nameText.data)
        return EINVAL;
    char* const name = copyText(nameText);
    if (!name)
        return ENOMEM;

    // Adding a name again succeeds and changes nothing, whatever the label is, so that a client may
    // add before each use.
    const bool isKnown = consoleListFind(&consoleList, name) != nullptr;
    const Payload label = findAreaText(payload, header.labelOffset);
    int result = EOK;
    if (!isKnown)
        result = label.data ? appendItem(name, label, header.percent) : EINVAL;
    if (isKnown || result != EOK)
        free(name);
    return result;
}

int updateItem(const Payload& payload) {
    ConsoleItemHeader header;
    memcpy(&header, payload.data, sizeof(header));
    const Payload nameText = findAreaText(payload, header.nameOffset);
    if (!nameText.data)
        return EINVAL;
    char* const name = copyText(nameText);
    if (!name)
        return ENOMEM;

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
    const bool shown = appendTextLines(&consoleList, text);
    free(text);
    if (!shown)
        return ENOMEM;

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
