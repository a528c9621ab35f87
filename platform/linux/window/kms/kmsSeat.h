// Finds the display that the console is on, and follows what becomes of it: cards and displays may
// come and go at any time, and so may the terminal. The kernel is asked before each frame, once a
// second then; that is a few calls that touch no hardware, and needs no other process.
#pragma once

#include <optional>
#include <string>

#include "kd/windows/backend.h"
#include "kd/windows/kmsDisplay.h"

// Looks for a display for the first time, on the card of that path or, if it is empty, on any, and
// for a console of that size, if one is wanted. False after printing why none may be had; that
// there is none at all is no failure.
bool startDisplaySearch(const std::string& path, const std::optional<DisplaySize>& wanted);

// Takes in what has changed since, for a console of that size. Prints what there is to know.
void followDisplay(const DisplaySize& consoleSize);

// The display as it was found last; null while there is none. Valid until the next followDisplay.
KmsDisplay* currentDisplay();
