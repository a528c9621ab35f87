#include "text/lineSplit.h"

#include <cstdlib>
#include <cstring>

#include "gfx/renderContext.h"
#include "text/textDraw.h"

namespace {

constexpr uint32_t kWrapMargin = 20;  // pixels: rows start at 10 and stay clear of the other edge

// Appends a text entry and returns the link behind it, so that a long text is not appended by
// walking the list from its head for every line.
ConsoleNode** appendLine(ConsoleNode** link, const char* line) {
    ConsoleEntry* entry = static_cast<ConsoleEntry*>(calloc(1, sizeof(ConsoleEntry)));
    entry->text = strdup(line);
    consoleListAppend(link, entry);
    while (*link)
        link = &(*link)->next;
    return link;
}

}  // namespace

void appendTextLines(ConsoleNode** list, char* text) {
    if (!text)
        return;

    ConsoleNode** link = list;
    for (;;) {
        // Unsigned: on an area narrower than the margin it wraps round, and only newlines end rows.
        const int32_t fitting = fitCharCount(text, renderContext()->width - kWrapMargin);
        const bool tooWideAlone = fitting == 0 && *text != '\0' && *text != '\n';
        char* const rowEnd = text + (tooWideAlone ? 1 : fitting);
        const char next = *rowEnd;
        if (next == '\0') {
            if (rowEnd > text)
                appendLine(link, text);
            return;
        }

        *rowEnd = '\0';
        char* const space = !tooWideAlone && next != '\n' ? strrchr(text, ' ') : nullptr;
        if (space)
            *space = '\0';
        link = appendLine(link, text);
        *rowEnd = next;

        if (space)
            text = space + 1;
        else
            text = next == '\n' ? rowEnd + 1 : rowEnd;
    }
}
