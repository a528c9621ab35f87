// Everything that the screen shows. No entry is ever changed in kind or reordered. A text line that
// cannot be shown again is released; progress items stay, because they are looked up by name.
// Touched by the message-loop thread alone, so there are no locks.
#pragma once

#include <cstddef>
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

// How many of the newest entries the screen shows; none if not positive. As long as nobody has
// told, everything is kept.
extern int32_t consoleVisibleRows;

// The most progress items. Each is looked at by every tick and every search for a name.
constexpr int32_t kMostConsoleItems = 65536;

// A text line with a copy of `length` bytes of `text`; percent and clock are 0. With a name it is a
// progress item. Null without memory.
ConsoleEntry* newConsoleEntry(const char* text, size_t length);

// Frees the entry with all that it owns; null is none.
void freeConsoleEntry(ConsoleEntry* entry);

// Frees the nodes of a list with all that they own. Null is an empty list.
void consoleListFree(ConsoleNode* list);

// Adds `entry` at the tail of *list and takes it over. False without memory: then nothing has
// changed and the entry is still the caller's.
bool consoleListAppend(ConsoleNode** list, ConsoleEntry* entry);

// Joins the nodes of `tail` to *list, takes them over, and releases the text lines of *list that
// cannot be shown again.
void consoleListJoin(ConsoleNode** list, ConsoleNode* tail);

int32_t consoleListItemCount(const ConsoleNode* list);

// The first progress item of *list with exactly this name (borrowed from the list), or null. Text
// lines are never found.
ConsoleEntry* consoleListFind(ConsoleNode* const* list, const char* name);
