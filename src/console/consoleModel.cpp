#include "console/consoleModel.h"

#include <cstdlib>
#include <cstring>

ConsoleNode* consoleList;
ConsoleStatus consoleStatus;
int32_t secondsSinceStart;
int32_t consoleVisibleRows = INT32_MAX;

namespace {

int32_t entryCount(const ConsoleNode* list) {
    int32_t count = 0;
    for (const ConsoleNode* node = list; node; node = node->next)
        ++count;
    return count;
}

void releaseUnseenLines(ConsoleNode** list) {
    int64_t unseen = static_cast<int64_t>(entryCount(*list)) - consoleVisibleRows;
    for (ConsoleNode** link = list; *link && unseen > 0; --unseen) {
        ConsoleNode* const node = *link;
        if (node->entry->name) {
            link = &node->next;
            continue;
        }
        *link = node->next;
        node->next = nullptr;
        consoleListFree(node);
    }
}

}  // namespace

void freeConsoleEntry(ConsoleEntry* entry) {
    if (!entry)
        return;
    free(entry->name);
    free(entry->text);
    free(entry);
}

ConsoleEntry* newConsoleEntry(const char* text, size_t length) {
    ConsoleEntry* const entry = static_cast<ConsoleEntry*>(calloc(1, sizeof(ConsoleEntry)));
    if (!entry)
        return nullptr;
    entry->text = static_cast<char*>(malloc(length + 1));
    if (!entry->text) {
        free(entry);
        return nullptr;
    }
    memcpy(entry->text, text, length);
    entry->text[length] = '\0';
    return entry;
}

void consoleListFree(ConsoleNode* list) {
    while (ConsoleNode* const node = list) {
        list = node->next;
        freeConsoleEntry(node->entry);
        free(node);
    }
}

bool consoleListAppend(ConsoleNode** list, ConsoleEntry* entry) {
    ConsoleNode* const node = static_cast<ConsoleNode*>(malloc(sizeof(ConsoleNode)));
    if (!node)
        return false;
    node->entry = entry;
    node->next = nullptr;
    consoleListJoin(list, node);
    return true;
}

void consoleListJoin(ConsoleNode** list, ConsoleNode* tail) {
    ConsoleNode** link = list;
    while (*link)
        link = &(*link)->next;
    *link = tail;
    releaseUnseenLines(list);
}

int32_t consoleListItemCount(const ConsoleNode* list) {
    int32_t count = 0;
    for (const ConsoleNode* node = list; node; node = node->next)
        count += node->entry->name != nullptr;
    return count;
}

ConsoleEntry* consoleListFind(ConsoleNode* const* list, const char* name) {
    for (const ConsoleNode* node = *list; node; node = node->next) {
        ConsoleEntry* entry = node->entry;
        if (entry->name && strcmp(name, entry->name) == 0)
            return entry;
    }
    return nullptr;
}
