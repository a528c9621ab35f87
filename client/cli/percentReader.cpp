#include "cli/percentReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "lib/ownedFd.h"

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

std::vector<std::string_view> words(std::string_view line) {
    std::vector<std::string_view> result;
    for (size_t at = line.find_first_not_of(' '); at != std::string_view::npos;
         at = line.find_first_not_of(' ', at)) {
        const size_t end = std::min(line.find(' ', at), line.size());
        result.push_back(line.substr(at, end - at));
        at = end;
    }
    return result;
}

std::optional<uint64_t> wholeNumber(std::string_view text) {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

std::optional<int> asPercent(std::optional<uint64_t> number) {
    if (!number || *number > 100)
        return std::nullopt;
    return static_cast<int>(*number);
}

// The number that ends right before `sign`, blanks in between allowed, its fraction left out.
std::optional<int> percentBefore(std::string_view line, size_t sign) {
    size_t end = sign;
    while (end > 0 && line[end - 1] == ' ')
        --end;
    size_t begin = end;
    while (begin > 0 && (isDigit(line[begin - 1]) || line[begin - 1] == '.'))
        --begin;
    const bool partOfAWord = begin > 0 && (isLetter(line[begin - 1]) || line[begin - 1] == '-');
    const std::string_view number = line.substr(begin, end - begin);
    return partOfAWord ? std::nullopt : asPercent(wholeNumber(number.substr(0, number.find('.'))));
}

// The last one of a line: what comes before it is likely a name.
std::optional<int> markedPercent(std::string_view line) {
    for (size_t sign = line.rfind('%'); sign != std::string_view::npos && sign > 0;
         sign = line.rfind('%', sign - 1)) {
        if (const std::optional<int> percent = percentBefore(line, sign))
            return percent;
    }
    return std::nullopt;
}

constexpr size_t kTransferColumns = 12;

bool headsTransferTable(const std::vector<std::string_view>& columns) {
    return columns.size() > 1 && columns[0] == "%" && columns[1] == "Total";
}

// "1234 bytes (1.2 kB, 1.2 KiB) copied, 1 s, 1.2 kB/s"
std::optional<int> copiedPercent(const std::vector<std::string_view>& columns, uint64_t total) {
    if (columns.size() < 3 || columns[1].substr(0, 4) != "byte" ||
        std::find(columns.begin(), columns.end(), "copied,") == columns.end())
        return std::nullopt;
    const std::optional<uint64_t> copied = wholeNumber(columns[0]);
    if (!copied || total == 0)
        return std::nullopt;
    const double percent = 100.0 * static_cast<double>(*copied) / static_cast<double>(total);
    return static_cast<int>(std::min(percent, 100.0));
}

struct Suffix {
    const char* text;
    uint64_t factor;
};

constexpr uint64_t kKibi = 1024;
constexpr uint64_t kKilo = 1000;
constexpr Suffix kSuffixes[] = {
    {"", 1},
    {"c", 1},
    {"w", 2},
    {"b", 512},
    {"kB", kKilo},
    {"KB", kKilo},
    {"k", kKibi},
    {"K", kKibi},
    {"KiB", kKibi},
    {"MB", kKilo* kKilo},
    {"M", kKibi* kKibi},
    {"xM", kKibi* kKibi},
    {"MiB", kKibi* kKibi},
    {"GB", kKilo* kKilo* kKilo},
    {"G", kKibi* kKibi* kKibi},
    {"GiB", kKibi* kKibi* kKibi},
    {"TB", kKilo* kKilo* kKilo* kKilo},
    {"T", kKibi* kKibi* kKibi* kKibi},
    {"TiB", kKibi* kKibi* kKibi* kKibi},
};

std::optional<uint64_t> sizeWithSuffix(std::string_view text) {
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::optional<uint64_t> number = wholeNumber(text.substr(0, digits));
    for (const Suffix& suffix : kSuffixes) {
        if (number && text.substr(digits) == suffix.text &&
            *number <= std::numeric_limits<uint64_t>::max() / suffix.factor)
            return *number * suffix.factor;
    }
    return std::nullopt;
}

// The value of the last operand NAME=VALUE.
std::optional<std::string> operand(const std::vector<std::string>& command,
                                   const std::string& name) {
    for (size_t i = command.size(); i-- > 1;) {
        if (command[i].compare(0, name.size() + 1, name + "=") == 0)
            return command[i].substr(name.size() + 1);
    }
    return std::nullopt;
}

std::optional<uint64_t> sizeOperand(const std::vector<std::string>& command,
                                    const std::string& name) {
    const std::optional<std::string> value = operand(command, name);
    return value ? sizeWithSuffix(*value) : std::nullopt;
}

// The size of a file or block device; devices that never end say 0.
std::optional<uint64_t> sizeOf(const std::string& path) {
    const OwnedFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const off_t end = fd ? lseek(fd.get(), 0, SEEK_END) : -1;
    if (end <= 0)
        return std::nullopt;
    return static_cast<uint64_t>(end);
}

}  // namespace

std::optional<int> PercentReader::read(std::string_view line) {
    const std::vector<std::string_view> columns = words(line);
    if (headsTransferTable(columns)) {
        inTable_ = true;
        return std::nullopt;
    }
    if (inTable_ && columns.size() == kTransferColumns) {
        if (const std::optional<int> percent = asPercent(wholeNumber(columns[0])))
            return percent;
    }
    if (copyTotal_) {
        if (const std::optional<int> percent = copiedPercent(columns, *copyTotal_))
            return percent;
    }
    return markedPercent(line);
}

std::optional<uint64_t> copyTotalOf(const std::vector<std::string>& command) {
    constexpr uint64_t kDefaultBlock = 512;
    if (command.empty() || command[0].substr(command[0].rfind('/') + 1) != "dd")
        return std::nullopt;

    uint64_t block = kDefaultBlock;
    if (const auto size = sizeOperand(command, "bs"))
        block = *size;
    else if (const auto inputSize = sizeOperand(command, "ibs"))
        block = *inputSize;

    std::optional<uint64_t> total;
    if (const auto input = operand(command, "if")) {
        total = sizeOf(*input);
        const uint64_t skipped = sizeOperand(command, "skip").value_or(0) * block;
        if (total)
            total = *total > skipped ? *total - skipped : 0;
    }
    if (const auto count = sizeOperand(command, "count")) {
        const bool inBytes =
            operand(command, "iflag").value_or("").find("count_bytes") != std::string::npos;
        total = std::min(total.value_or(std::numeric_limits<uint64_t>::max()),
                         inBytes ? *count : *count * block);
    }
    return total;
}
