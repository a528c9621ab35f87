// Everything that the screen shows. It only grows: no entry is ever changed in kind, reordered or
// removed. Touched by the message-loop thread alone, so there are no locks.
#pragma once

#include <cstdint>

// One shown row: a text line, or a progress item. `name` decides which: no code may read `percent`
// or `elapsedSeconds` while it is null.
struct ConsoleEntry {
    char* name;  // owned; null for a text line; a progress item's key, possibly empty, never drawn
    char* text;  // owned, never null: the line, or the item's label
    int32_t percent;         // last percent received, any value
    int32_t elapsedSeconds;  // counted by the clock tick while percent is at most 99
};

struct ConsoleNode {
    ConsoleEntry* entry;  // owned
    ConsoleNode* next;    // owned; null at the tail
};

struct ConsoleStatus {
    char* statusText;        // owned; null until the first one arrives
    int32_t overallElapsed;  // seconds counted while overallPercent is non-zero
    int32_t overallPercent;  // never drawn: non-zero lets overallElapsed run
};

extern ConsoleNode* consoleList;     // owned head, in order of arrival; null while empty
extern ConsoleStatus consoleStatus;  // initially empty and zero
extern int32_t secondsSinceStart;    // one for each clock tick

// Adds `entry` at the tail of *list and takes it over. Walks the whole list; reports no failure.
void consoleListAppend(ConsoleNode** list, ConsoleEntry* entry);

// The first progress item of *list with exactly this name (borrowed from the list), or null. Text
// lines are never found.
ConsoleEntry* consoleListFind(ConsoleNode* const* list, const char* name);
