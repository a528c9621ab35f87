// Bring-up before the message loop, in the order in which it is called.
#pragma once

// Opens the display. False if it cannot be had, reported behind `programName`.
bool openDisplay(const char* programName);

// Makes what every drawing shares. With a logo, shows it; then builds the font atlas, whose
// failures are printed and ignored. Ends the process with status -1 if a logo cannot be loaded.
void prepareDrawing();

// Draws the console once, unless a logo has the screen for its time.
void showFirstPicture();
