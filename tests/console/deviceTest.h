// Messages to the device node as a client's calls make them, with their real layouts.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "console/controlDevice.h"
#include "support/fakeDispatch.h"
#include "support/serviceTest.h"

constexpr size_t kHeaderBytes = 16;

class DeviceTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        useMonospacedAtlas();
        useArea(120, 480);
        ocb.attr = &node;
    }

    // Writes `data` as a client does. A size of its own may be announced.
    int write(const std::string& data, uint32_t xtype = _IO_XTYPE_NONE) {
        return writeAnnouncing(static_cast<uint32_t>(data.size()), data, xtype);
    }

    int writeAnnouncing(uint32_t size, const std::string& data, uint32_t xtype = _IO_XTYPE_NONE) {
        std::vector<uint8_t>& message = fakeDispatch.clientMessage;
        message.assign(kHeaderBytes, 0);
        message.insert(message.end(), data.begin(), data.end());
        io_write_t* const header = reinterpret_cast<io_write_t*>(message.data());
        header->i.type = _IO_WRITE;
        header->i.nbytes = size;
        header->i.xtype = xtype;
        context = {};
        context.status = -1;
        return consoleIoWrite(&context, header, &ocb);
    }

    // Sends a command. The receive buffer is exactly as long as the message, so that a checker sees
    // every read behind it. `announced` stands in the header, where nothing should look.
    int send(uint32_t code, const std::string& payload, uint32_t announced = 0) {
        received.assign(kHeaderBytes + payload.size(), 0);
        std::vector<uint8_t>(received).swap(received);
        io_devctl_t* const message = reinterpret_cast<io_devctl_t*>(received.data());
        message->i.type = _IO_DEVCTL;
        message->i.combine_len = 0xabcd;
        message->i.dcmd = static_cast<int32_t>(code);
        message->i.nbytes = announced;
        message->i.zero = 0x55555555;
        memcpy(received.data() + kHeaderBytes, payload.data(), payload.size());
        context = {};
        context.size = received.size();
        return consoleIoDevctl(&context, message, &ocb);
    }

    iofunc_attr_t node = {};
    iofunc_ocb_t ocb = {};
    resmgr_context_t context = {};
    std::vector<uint8_t> received;
};

inline std::string bytesOf(int32_t value) {
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

inline std::string itemHeader(int32_t nameOffset, int32_t labelOffset, int32_t percent) {
    return bytesOf(nameOffset) + bytesOf(labelOffset) + bytesOf(percent);
}

// The usual placement: the name first, the label right behind its NUL.
inline std::string item(const std::string& name, const std::string& label, int32_t percent) {
    return itemHeader(0, static_cast<int32_t>(name.size() + 1), percent) + name + '\0' + label +
           '\0';
}
