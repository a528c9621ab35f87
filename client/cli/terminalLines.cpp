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
            case Expect::kText: isControl(c) ? takeControl(c) : takeText(c); break;
            case Expect::kEscape:
                expect_ = c == '[' ? Expect::kSequence : c == ']' ? Expect::kString : Expect::kText;
                break;
            case Expect::kSequence:  // parameters, then one byte that ends it
                if (c >= '@' && c <= '~')
                    expect_ = Expect::kText;
                break;
            case Expect::kString:  // a title and the like, up to a bell or an escape and one more
                expect_ = c == kBell         ? Expect::kText
                          : c == kEscapeByte ? Expect::kStringEscape
                                             : Expect::kString;
                break;
            case Expect::kStringEscape: expect_ = Expect::kText; break;
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
        case kEscapeByte: expect_ = Expect::kEscape; break;
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
