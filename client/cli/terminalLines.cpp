#include "cli/terminalLines.h"

#include <utility>

namespace {

constexpr char kEscapeByte = '\x1b';
constexpr char kBell = '\a';
constexpr char kDelete = '\x7f';
constexpr size_t kTabWidth = 8;

bool isControl(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == kDelete;
}

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
}

void dropLastCharacter(std::string& line) {
    while (!line.empty() && isContinuation(line.back()))
        line.pop_back();
    if (!line.empty())
        line.pop_back();
}

}  // namespace

void TerminalLines::feed(std::string_view bytes) {
    for (const char c : bytes) {
        switch (expect_) {
            case Expect::text: isControl(c) ? takeControl(c) : takeText(c); break;
            case Expect::escape:
                expect_ = c == '[' ? Expect::sequence : c == ']' ? Expect::string : Expect::text;
                break;
            case Expect::sequence:  // parameters, then one byte that ends it
                if (c >= '@' && c <= '~')
                    expect_ = Expect::text;
                break;
            case Expect::string:  // a title and the like, up to a bell or an escape and one more
                expect_ = c == kBell         ? Expect::text
                          : c == kEscapeByte ? Expect::stringEscape
                                             : Expect::string;
                break;
            case Expect::stringEscape: expect_ = Expect::text; break;
        }
    }
    showProgress();
}

void TerminalLines::end() {
    if (!line_.empty())
        finishLine();
}

void TerminalLines::takeText(char c) {
    if (std::exchange(returned_, false))
        line_.clear();
    if (line_.size() >= kLongestLine && !isContinuation(c))
        finishLine();
    line_.push_back(c);
    changed_ = true;
}

void TerminalLines::takeControl(char c) {
    switch (c) {
        case '\n': finishLine(); break;
        case '\r':
            showProgress();
            returned_ = true;
            break;
        case '\t':
            do
                takeText(' ');
            while (line_.size() % kTabWidth != 0);
            break;
        case '\b': dropLastCharacter(line_); break;
        case kEscapeByte: expect_ = Expect::escape; break;
        default: break;
    }
}

void TerminalLines::finishLine() {
    showProgress();
    returned_ = false;
    onLine_(std::exchange(line_, {}));
}

void TerminalLines::showProgress() {
    if (std::exchange(changed_, false))
        onProgress_(line_);
}
