// Finds out from a program's output how far it is.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class PercentReader {
public:
    // `copyTotal`: how many bytes a copying program is going to copy, if that is known; its reports
    // of bytes copied so far are percents then.
    explicit PercentReader(std::optional<uint64_t> copyTotal = std::nullopt)
        : copyTotal_(copyTotal) {}

    // The percent in a line, 0..100: a number with '%', the first column of a transfer table, or
    // bytes copied.
    std::optional<int> read(std::string_view line);

private:
    std::optional<uint64_t> copyTotal_;
    bool inTable_ = false;  // the head of a transfer table was seen
};

// How much a command line of dd is going to copy, in bytes; nothing if it is another command, or
// names neither a count nor an input whose size can be told.
std::optional<uint64_t> copyTotalOf(const std::vector<std::string>& command);
