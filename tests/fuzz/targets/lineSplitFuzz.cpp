// Any text on an area of any width: every character is kept but the newlines and spaces that rows
// were cut at and the bytes that leave no trace, and no row is as wide as the area allows or wider,
// unless it is a single character.
#include "text/lineSplit.h"

#include <set>

#include "console/consoleModel.h"
#include "fuzzModel.h"
#include "text/fontAtlas.h"
#include "text/textDraw.h"

namespace {

bool isLeftOut(char character) {
    return static_cast<signed char>(character) < 0;
}

// The place behind `row` where it begins at `at`, bytes that are left out aside; npos if it does
// not.
size_t endOfRow(const std::string& row, const std::string& text, size_t at) {
    for (const char character : row) {
        while (at < text.size() && isLeftOut(text[at]))
            ++at;
        if (at == text.size() || text[at] != character)
            return std::string::npos;
        ++at;
    }
    return at;
}

// Where a text may go on behind the rows so far; a row ends at a newline or a space that is
// consumed, or between two characters.
std::set<size_t> positionsBehind(const std::set<size_t>& starts, const std::string& row,
                                 const std::string& text) {
    std::set<size_t> ends;
    for (const size_t start : starts) {
        for (size_t end = endOfRow(row, text, start); end <= text.size(); ++end) {
            ends.insert(end);
            if (end < text.size() && (text[end] == '\n' || text[end] == ' '))
                ends.insert(end + 1);
            if (end == text.size() || !isLeftOut(text[end]))
                break;
        }
    }
    return ends;
}

void checkRows(const std::vector<std::string>& rows, const std::string& text, uint32_t width) {
    std::set<size_t> positions = {0};
    for (const std::string& row : rows) {
        require(row.find('\n') == std::string::npos, "a row holds no newline");
        if (width >= 20 && row.size() > 1)
            require(static_cast<uint32_t>(textWidth(row.c_str())) < width - 20, "a row fits");
        positions = positionsBehind(positions, row, text);
        require(!positions.empty(), "a row is the text's next piece");
    }
    require(positions.count(text.size()) == 1, "the rows hold the whole text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    InputReader input(data, size);
    const uint32_t width = input.byte() * 4u;
    setUpArea(width, input.byte());
    std::string text = input.rest();
    text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));

    std::string writable = text;
    appendTextLines(&consoleList, writable.data());
    checkRows(listTexts(consoleList), text, width);
    emptyModel();
    return 0;
}
