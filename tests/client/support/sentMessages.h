// What a recording node should have got from a client.
#pragma once

#include <string>

#include "client/support/fakeConsole.h"
#include "lib/message.h"

inline Received sentCommand(const Message& message) {
    return {message.code, message.bytes};
}

inline Received sentText(const std::string& bytes) {
    return {0, bytes};
}

inline Received sentStatus(const std::string& text) {
    Message message;
    statusMessage(text, &message);
    return sentCommand(message);
}

inline Received sentPercent(int32_t percent) {
    return sentCommand(percentMessage(percent));
}

inline Received sentAdd(const std::string& name, const std::string& label, int32_t percent) {
    Message message;
    addItemMessage(name, label, percent, &message);
    return sentCommand(message);
}

inline Received sentUpdate(const std::string& name, int32_t percent) {
    Message message;
    updateItemMessage(name, percent, &message);
    return sentCommand(message);
}
