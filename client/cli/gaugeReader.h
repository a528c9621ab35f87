// Reads what scripts send to a progress dialog: percents on lines of their own, and blocks between
// two lines "XXX" with a percent on the first line and text on the others. Anything else is text.
#pragma once

#include <functional>
#include <string>
#include <string_view>

class GaugeReader {
public:
    using OnPercent = std::function<void(int percent)>;
    using OnText = std::function<void(const std::string& line)>;

    // A line that is longer is read in parts, in bytes.
    static constexpr size_t kLongestLine = 4096;

    GaugeReader(OnPercent onPercent, OnText onText)
        : onPercent_(std::move(onPercent)), onText_(std::move(onText)) {}

    void feed(std::string_view bytes);

    // Takes a last line that has no newline.
    void end();

private:
    enum class Expect { numbers, blockPercent, blockText };

    void takeLine(std::string line);
    void takeText(const std::string& line);

    OnPercent onPercent_;
    OnText onText_;
    std::string line_;
    Expect expect_ = Expect::numbers;
};
