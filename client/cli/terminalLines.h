// Makes lines for the console of what a program writes for a terminal: a carriage return starts the
// line anew, escape sequences and other control characters vanish, tabs become blanks.
#pragma once

#include <functional>
#include <string>
#include <string_view>

class TerminalLines {
public:
    // Gets each line without its newline, once it is complete.
    using OnLine = std::function<void(std::string line)>;
    // Gets a line as it stands, each time that a terminal would show it changed.
    using OnProgress = std::function<void(std::string_view line)>;

    // A line that is longer is given out in parts, in bytes.
    static constexpr size_t kLongestLine = 4096;

    TerminalLines(OnLine onLine, OnProgress onProgress)
        : onLine_(std::move(onLine)), onProgress_(std::move(onProgress)) {}

    void feed(std::string_view bytes);

    // Gives out a last line that has no newline.
    void end();

private:
    enum class Expect { text, escape, sequence, string, stringEscape };

    void takeText(char c);
    void takeControl(char c);
    void finishLine();
    void showProgress();

    OnLine onLine_;
    OnProgress onProgress_;
    std::string line_;
    Expect expect_ = Expect::text;
    bool returned_ = false;  // a carriage return came: the next character starts the line anew
    bool changed_ = false;   // since progress was shown last
};
