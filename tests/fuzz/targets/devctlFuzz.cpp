// Any commands, one after the other: an input is a row of {code, length, payload}. A second model,
// which reads payloads by its own rules, tells what each command must answer and what is shown.
#include <errno.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "console/consoleModel.h"
#include "console/controlDevice.h"
#include "fuzzModel.h"
#include "messageStubs.h"

namespace {

enum : uint32_t {
    kSetStatus = 0x80010501,
    kSetPercent = 0x80040502,
    kAddItem = 0x800c0503,
    kUpdateItem = 0x800c0504,
};
constexpr uint32_t kCodes[] = {kSetStatus, kSetPercent, kAddItem, kUpdateItem};
constexpr size_t kItemHeaderBytes = 12;
constexpr size_t kPayloadBytesMax = 2032;  // what is longer is not received

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

int32_t numberAt(const std::string& payload, size_t at) {
    int32_t value;
    memcpy(&value, payload.data() + at, sizeof(value));
    return value;
}

// From `at` up to a NUL or the end. Nothing if there is not a byte to look at.
std::optional<std::string> textAt(const std::string& payload, int64_t at) {
    if (at < 0 || at >= static_cast<int64_t>(payload.size()))
        return {};
    const std::string text = payload.substr(static_cast<size_t>(at));
    return text.substr(0, text.find('\0'));
}

std::optional<std::string> areaText(const std::string& payload, size_t offsetAt) {
    const int32_t offset = numberAt(payload, offsetAt);
    return offset < 0 ? std::nullopt : textAt(payload, int64_t{kItemHeaderBytes} + offset);
}

class ExpectedModel {
public:
    // Does the command; its error number.
    int apply(uint32_t code, const std::string& payload) {
        switch (code) {
            case kSetStatus: return setStatus(payload);
            case kSetPercent: return setPercent(payload);
            case kAddItem: return payload.size() < kItemHeaderBytes ? EINVAL : add(payload);
            case kUpdateItem: return payload.size() < kItemHeaderBytes ? EINVAL : update(payload);
            default: return ENOSYS;
        }
    }

    void compare() const {
        const char* const shown = consoleStatus.statusText;
        require((shown != nullptr) == status_.has_value(), "there is a status once it was set");
        require(!shown || *status_ == shown, "the status is the last one");
        require(consoleStatus.overallPercent == percent_, "the percent is the last one");
        const ConsoleNode* node = consoleList;
        for (const Item& item : items_) {
            require(node != nullptr, "an item stays");
            require(node->entry->name && item.name == node->entry->name, "an item has its name");
            require(item.label == node->entry->text, "an item keeps its label");
            require(item.percent == node->entry->percent, "an item has its last percent");
            require(node->entry->elapsedSeconds == 0, "a command moves no clock");
            node = node->next;
        }
        require(!node, "there is no other item");
    }

private:
    struct Item {
        std::string name, label;
        int32_t percent;
    };

    int setStatus(const std::string& payload) {
        if (payload.empty())
            return EINVAL;
        status_ = textAt(payload, 0);
        return EOK;
    }

    int setPercent(const std::string& payload) {
        if (payload.size() < sizeof(percent_))
            return EINVAL;
        percent_ = numberAt(payload, 0);
        return EOK;
    }

    int add(const std::string& payload) {
        const std::optional<std::string> name = areaText(payload, 0), label = areaText(payload, 4);
        if (!name)
            return EINVAL;
        if (find(*name) != items_.end())
            return EOK;
        if (!label)
            return EINVAL;
        items_.push_back({*name, *label, numberAt(payload, 8)});
        return EOK;
    }

    int update(const std::string& payload) {
        const std::optional<std::string> name = areaText(payload, 0);
        if (!name)
            return EINVAL;
        const auto found = find(*name);
        if (found != items_.end())
            found->percent = numberAt(payload, 8);
        return EOK;
    }

    std::vector<Item>::iterator find(const std::string& name) {
        return std::find_if(items_.begin(), items_.end(),
                            [&](const Item& item) { return item.name == name; });
    }

    std::optional<std::string> status_;
    int32_t percent_ = 0;
    std::vector<Item> items_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    InputReader input(data, size);
    ExpectedModel expected;
    while (input.left() > 0) {
        io_devctl_t message = {};
        message.i.type = _IO_DEVCTL;
        message.i.dcmd = commandCode(&input);
        const std::string payload = payloadOf(&input);
        message.i.nbytes = static_cast<uint32_t>(payload.size());
        ReceivedMessage received(&message, sizeof(message), payload);
        const int result = consoleIoDevctl(
            &received.context, reinterpret_cast<io_devctl_t*>(received.bytes), &received.ocb);

        const int error = expected.apply(static_cast<uint32_t>(message.i.dcmd),
                                         payload.substr(0, kPayloadBytesMax));
        require(result == (error == EOK ? _RESMGR_NPARTS(1) : error),
                "a command is taken, refused or unknown");
        if (error == EOK)
            checkReply(received);
        expected.compare();
    }
    emptyModel();
    return 0;
}
