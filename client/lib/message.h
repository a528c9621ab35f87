// The messages that a client sends: written text, and the device-control commands with their
// payloads, built within what the console's receive buffer holds.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct Message {
    uint32_t code;      // a device-control code; 0 for written text
    std::string bytes;  // the text, or the command's payload
};

constexpr uint32_t kWrittenText = 0;

// A command that no console knows: its refusal proves that one is there, and nothing changes.
Message checkMessage();

Message textMessage(std::string text);
Message percentMessage(int32_t percent);

// These return 0 and fill *message, or EMSGSIZE if the payload would not fit.
int statusMessage(std::string_view text, Message* message);
int addItemMessage(std::string_view name, std::string_view label, int32_t percent,
                   Message* message);
int updateItemMessage(std::string_view name, int32_t percent, Message* message);
