#include "text/lineSplit.h"

#include <cstdlib>
#include <cstring>

#include "gfx/renderContext.h"
#include "text/textDraw.h"

namespace {

constexpr uint32_t kWrapMargin = 20;  // pixels: rows start at 10 and stay clear of the other edge

// A row as it was cut, inside the text.
struct Row {
    const char* start;
    size_t length;
};

// The rows that were cut last, as many as can be seen: a write of a million lines keeps no more.
struct NewestRows {
    Row* rows;  // owned; a ring
    size_t capacity;
    size_t cutCount;  // of all rows, also of those that newer ones replaced
};

void keepRow(NewestRows* newest, const char* start, size_t length) {
    if (newest->capacity > 0)
        newest->rows[newest->cutCount % newest->capacity] = {start, length};
    ++newest->cutCount;
}

void cutRows(char* text, NewestRows* newest) {
    for (;;) {
        // Unsigned: on an area narrower than the margin it wraps round, and only newlines end rows.
        const int32_t fitting = fitCharCount(text, renderContext()->width - kWrapMargin);
        const bool tooWideAlone = fitting == 0 && *text != '\0' && *text != '\n';
        char* const rowEnd = text + (tooWideAlone ? 1 : fitting);
        const char next = *rowEnd;
        if (next == '\0') {
            if (rowEnd > text)
                keepRow(newest, text, static_cast<size_t>(rowEnd - text));
            return;
        }

        *rowEnd = '\0';
        char* const space = !tooWideAlone && next != '\n' ? strrchr(text, ' ') : nullptr;
        *rowEnd = next;
        if (space)
            *space = '\0';
        keepRow(newest, text, static_cast<size_t>((space ? space : rowEnd) - text));

        if (space)
            text = space + 1;
        else
            text = next == '\n' ? rowEnd + 1 : rowEnd;
    }
}

// A text entry of the row, without the bytes that leave no trace: a row of a million of them would
// be walked at every redraw. Null without memory.
ConsoleEntry* newLine(const Row& row) {
    ConsoleEntry* const entry = newConsoleEntry(row.start, row.length);
    if (!entry)
        return nullptr;
    char* to = entry->text;
    for (const char* from = entry->text; *from; ++from) {
        if (leavesTrace(*from))
            *to++ = *from;
    }
    *to = '\0';
    // Cannot fail: it gets smaller.
    if (char* const fitting = static_cast<char*>(realloc(entry->text, to - entry->text + 1)))
        entry->text = fitting;
    return entry;
}

// The kept rows as a list of their own. False without memory, with nothing left behind.
bool listRows(const NewestRows& newest, ConsoleNode** list) {
    const size_t count = newest.cutCount < newest.capacity ? newest.cutCount : newest.capacity;
    ConsoleNode** link = list;
    *list = nullptr;
    for (size_t i = newest.cutCount - count; i < newest.cutCount; ++i) {
        ConsoleEntry* const entry = newLine(newest.rows[i % newest.capacity]);
        ConsoleNode* const node =
            entry ? static_cast<ConsoleNode*>(malloc(sizeof(ConsoleNode))) : nullptr;
        if (!node) {
            freeConsoleEntry(entry);
            consoleListFree(*list);
            return false;
        }
        *node = {entry, nullptr};
        *link = node;
        link = &node->next;
    }
    return true;
}

}  // namespace

bool appendTextLines(ConsoleNode** list, char* text) {
    if (!text || !*text)
        return true;

    // No text has more rows than bytes.
    const size_t length = strlen(text);
    const size_t visible = consoleVisibleRows > 0 ? static_cast<size_t>(consoleVisibleRows) : 0;
    NewestRows newest = {nullptr, length < visible ? length : visible, 0};
    newest.rows = static_cast<Row*>(calloc(newest.capacity + 1, sizeof(Row)));
    if (!newest.rows)
        return false;
    cutRows(text, &newest);

    ConsoleNode* rows = nullptr;
    const bool listed = listRows(newest, &rows);
    free(newest.rows);
    if (listed)
        consoleListJoin(list, rows);
    return listed;
}
