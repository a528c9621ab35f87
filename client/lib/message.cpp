#include "lib/message.h"

#include <cerrno>

#include "console/protocol.h"
#include "velkaris/velkaris.h"

namespace {

// Offsets of the item header count from the end of it, so its size is part of the format.
static_assert(sizeof(ConsoleItemHeader) == 12, "the item header has no padding");
static_assert(DCMD_CONSOLE_SET_STATUS == 0x80010501, "set status");
static_assert(DCMD_CONSOLE_SET_PERCENT == 0x80040502, "set percent");
static_assert(DCMD_CONSOLE_ADD_ITEM == 0x800c0503, "add item");
static_assert(DCMD_CONSOLE_UPDATE_ITEM == 0x800c0504, "update item");
static_assert(VELKARIS_STATUS_BYTES == kConsolePayloadBytes - sizeof(""), "a status text");
static_assert(VELKARIS_NAME_AND_LABEL_BYTES ==
                  kConsolePayloadBytes - sizeof(ConsoleItemHeader) - 2 * sizeof(""),
              "name and label");

// The console's own class of commands, without a payload: number 0 is none of the four.
constexpr uint32_t kCheckCode = static_cast<uint32_t>(__DION(_DCMD_MISC, 0));

template <typename Record>
void appendRecord(std::string* bytes, const Record& record) {
    bytes->append(reinterpret_cast<const char*>(&record), sizeof record);
}

int itemMessage(uint32_t code, const ConsoleItemHeader& header, std::string_view strings,
                Message* message) {
    if (sizeof header + strings.size() > kConsolePayloadBytes)
        return EMSGSIZE;
    message->code = code;
    message->bytes.clear();
    appendRecord(&message->bytes, header);
    message->bytes.append(strings);
    return 0;
}

std::string terminated(std::string_view text) {
    std::string bytes(text);
    bytes.push_back('\0');
    return bytes;
}

}  // namespace

Message checkMessage() {
    return {kCheckCode, {}};
}

Message textMessage(std::string text) {
    return {kWrittenText, std::move(text)};
}

Message percentMessage(int32_t percent) {
    Message message{DCMD_CONSOLE_SET_PERCENT, {}};
    appendRecord(&message.bytes, percent);
    return message;
}

int statusMessage(std::string_view text, Message* message) {
    if (text.size() + 1 > kConsolePayloadBytes)
        return EMSGSIZE;
    *message = {DCMD_CONSOLE_SET_STATUS, terminated(text)};
    return 0;
}

int addItemMessage(std::string_view name, std::string_view label, int32_t percent,
                   Message* message) {
    if (name.size() > kConsolePayloadBytes || label.size() > kConsolePayloadBytes)
        return EMSGSIZE;
    const ConsoleItemHeader header = {0, static_cast<int32_t>(name.size() + 1), percent};
    return itemMessage(DCMD_CONSOLE_ADD_ITEM, header, terminated(name) + terminated(label),
                       message);
}

// The label's offset points at an empty label behind the name, so that every field is in bounds.
int updateItemMessage(std::string_view name, int32_t percent, Message* message) {
    if (name.size() > kConsolePayloadBytes)
        return EMSGSIZE;
    const ConsoleItemHeader header = {0, static_cast<int32_t>(name.size() + 1), percent};
    return itemMessage(DCMD_CONSOLE_UPDATE_ITEM, header, terminated(name) + terminated({}),
                       message);
}
