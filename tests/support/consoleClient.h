// A client of a console as another program would be one: an open node, writes and commands. The
// command codes and payloads are spelled out here, byte for byte, and not taken from the service's
// header, so that a change of the wire format is noticed.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

constexpr uint32_t kSetStatusCode = 0x80010501;
constexpr uint32_t kSetPercentCode = 0x80040502;
constexpr uint32_t kAddItemCode = 0x800c0503;
constexpr uint32_t kUpdateItemCode = 0x800c0504;

class ConsoleClient {
public:
    // Throws std::system_error when the node cannot be opened.
    explicit ConsoleClient(const std::string& node);
    ~ConsoleClient();
    ConsoleClient(const ConsoleClient&) = delete;
    ConsoleClient& operator=(const ConsoleClient&) = delete;

    int fd() const { return fd_; }

    ssize_t write(const std::string& text);  // as write(2)

    // Each returns 0 or an error number.
    int setStatus(const std::string& text);
    int setPercent(int32_t percent);
    int addItem(const std::string& name, const std::string& label, int32_t percent);
    int updateItem(const std::string& name, int32_t percent);
    int command(uint32_t code, std::vector<char> payload);

private:
    int fd_;
};
