#include "cli/gaugeReader.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <utility>

namespace {

constexpr char kBlockMark[] = "XXX";
constexpr char kBlanks[] = " \t\r";

std::string trimmed(const std::string& line) {
    const size_t begin = line.find_first_not_of(kBlanks);
    if (begin == std::string::npos)
        return {};
    return line.substr(begin, line.find_last_not_of(kBlanks) - begin + 1);
}

// A whole or decimal number, perhaps with '%'; its fraction is dropped, its range is not checked.
std::optional<int> numberOn(std::string line) {
    if (!line.empty() && line.back() == '%')
        line.pop_back();
    int number = 0;
    const char* last = line.data() + line.size();
    const auto [end, error] = std::from_chars(line.data(), last, number);
    if (error != std::errc())
        return std::nullopt;
    const std::string rest(end, last);
    const bool fraction = rest.size() > 1 && rest[0] == '.' &&
                          rest.find_first_not_of("0123456789", 1) == std::string::npos;
    return rest.empty() || fraction ? std::optional<int>(number) : std::nullopt;
}

}  // namespace

void GaugeReader::feed(std::string_view bytes) {
    for (const char c : bytes) {
        const bool ends = c == '\n' || c == '\r';
        if (!ends)
            line_.push_back(c);
        if (ends || line_.size() >= kLongestLine)
            takeLine(std::exchange(line_, {}));
    }
}

void GaugeReader::end() {
    if (!line_.empty())
        takeLine(std::exchange(line_, {}));
}

void GaugeReader::takeLine(std::string line) {
    const std::string content = trimmed(line);
    if (content == kBlockMark) {
        expect_ = expect_ == Expect::numbers ? Expect::blockPercent : Expect::numbers;
        return;
    }
    const Expect expected =
        expect_ == Expect::blockPercent ? std::exchange(expect_, Expect::blockText) : expect_;
    const std::optional<int> number =
        expected == Expect::blockText ? std::nullopt : numberOn(content);
    if (number)
        onPercent_(*number);
    else if (!content.empty())
        takeText(line);
}

// In a block a line break inside of a line is written as a backslash and an n.
void GaugeReader::takeText(const std::string& line) {
    size_t begin = 0;
    for (size_t at = line.find("\\n"); at != std::string::npos; at = line.find("\\n", begin)) {
        onText_(line.substr(begin, at - begin));
        begin = at + 2;
    }
    onText_(line.substr(begin));
}
