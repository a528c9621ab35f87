// Any commands, one after the other, on one model: an input is a row of {code, length, payload}.
#include <errno.h>

#include <cstring>

#include "console/consoleModel.h"
#include "console/controlDevice.h"
#include "fuzzModel.h"
#include "messageStubs.h"

namespace {

constexpr uint32_t kCodes[] = {0x80010501, 0x80040502, 0x800c0503, 0x800c0504};

int32_t commandCode(InputReader* input) {
    const uint8_t choice = input->byte();
    return static_cast<int32_t>(choice < 0xf0 ? kCodes[choice % 4] : input->number());
}

std::string payloadOf(InputReader* input) {
    const size_t length = std::min<size_t>(input->left(), input->byte() * 16u + input->byte());
    std::string payload;
    while (payload.size() < length && input->left() > 0)
        payload.push_back(static_cast<char>(input->byte()));
    return payload;
}

void checkReply(const ReceivedMessage& received) {
    static const char kZeroes[sizeof(io_devctl_t)] = {};
    require(memcmp(received.bytes, kZeroes, sizeof(kZeroes)) == 0, "a reply header is all zero");
    require(received.context.iov[0].iov_base == received.bytes, "the reply is the header");
    require(received.context.iov[0].iov_len == sizeof(kZeroes), "nothing but the header goes back");
}

void checkModel() {
    for (const ConsoleNode* node = consoleList; node; node = node->next) {
        require(node->entry->name && node->entry->text, "an item has a name and a label");
        require(consoleListFind(&consoleList, node->entry->name) == node->entry,
                "names are unique");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    InputReader input(data, size);
    while (input.left() > 0) {
        io_devctl_t message = {};
        message.i.type = _IO_DEVCTL;
        message.i.dcmd = commandCode(&input);
        const std::string payload = payloadOf(&input);
        message.i.nbytes = static_cast<uint32_t>(payload.size());
        ReceivedMessage received(&message, sizeof(message), payload);
        const int result = consoleIoDevctl(
            &received.context, reinterpret_cast<io_devctl_t*>(received.bytes), &received.ocb);

        require(result == _RESMGR_NPARTS(1) || result == EINVAL || result == ENOSYS,
                "a command is taken, refused or unknown");
        if (result == _RESMGR_NPARTS(1))
            checkReply(received);
    }
    checkModel();
    emptyModel();
    return 0;
}
