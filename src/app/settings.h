// The command line, parsed once into process-wide settings that are read-only afterwards.
#pragma once

#include <cstdint>

struct AppSettings {
    const char* fontPath;  // -p: borrowed from the command line; null while absent, mandatory
    const char* logoPath;  // -l: borrowed from the command line; null means no logo
    int32_t logoTime;      // -t: seconds after start before the console replaces the logo

    // 0xRRGGBB; whatever "%x" left in the top byte is ignored by the drawing.
    uint32_t backgroundColour;    // -B: clear colour of every frame
    uint32_t foregroundColour;    // -F: text lines, progress bars, percentages and times
    uint32_t statusColour;        // -S: band behind the status line
    uint32_t progressNameColour;  // -P: label of each progress item

    int32_t fontSize;        // -f: nominal size in points at 120 dpi
    int32_t halfWidth;       // -R: non-zero gives the console the left half of the display
    const char* devicePath;  // where the control device is attached; no option changes it
};

extern AppSettings appSettings;

// Writes the usage line to standard error and ends the process with `status`.
[[noreturn]] void printUsage(int status);

// Fills appSettings from the arguments. A usage error ends the process with status 1, -h with 0.
// Numbers are not checked: a bad one counts as 0, a bad colour leaves the colour as it was.
void parseSettings(int argc, const char* const* argv);
