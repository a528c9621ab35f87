#include "console/consoleModel.h"

#include <cstdlib>
#include <cstring>

ConsoleNode* consoleList;
ConsoleStatus consoleStatus;
int32_t secondsSinceStart;

void consoleListAppend(ConsoleNode** list, ConsoleEntry* entry) {
    ConsoleNode** link = list;
    while (*link)
        link = &(*link)->next;

    ConsoleNode* node = static_cast<ConsoleNode*>(malloc(sizeof(ConsoleNode)));
    node->entry = entry;
    node->next = nullptr;
    *link = node;
}

ConsoleEntry* consoleListFind(ConsoleNode* const* list, const char* name) {
    for (const ConsoleNode* node = *list; node; node = node->next) {
        ConsoleEntry* entry = node->entry;
        if (entry->name && strcmp(name, entry->name) == 0)
            return entry;
    }
    return nullptr;
}
