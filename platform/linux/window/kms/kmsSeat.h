// The seat of the console: the cards that it may use, the display that it is on, and its terminal.
// All of them may come and go at any time. The kernel is asked before each frame, once a second
// then; that is a few calls that touch no hardware, and needs no other process.
#pragma once

#include <optional>
#include <string>

#include "window/kms/kmsDisplay.h"

// Looks for a display for the first time, on the card of that path or, if it is empty, on any.
// False after printing why none can be taken; that there is none at all is no failure.
bool takeSeat(const std::string& path, const OutputWish& wish);

// Takes in what has changed since, for a console of that size. Prints what there is to know.
void followDisplay(const PixelSize& consoleSize);

// The display as it was found last; null while there is none. Valid until the next followDisplay.
KmsDisplay* currentDisplay();
