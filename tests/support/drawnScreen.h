// What was drawn, read back from the quads as a person would: bars and texts with their places and
// colours. Reads texts drawn with the monospaced atlas.
#pragma once

#include <string>
#include <vector>

// In order of drawing, each as "bar 10..1270 464..480 c49191" (left..right bottom..top colour) or
// "text 20 466 ffffff hello" (left, bottom of the line box, colour). A text without a character has
// no place: "text ffffff".
std::vector<std::string> drawnScreen();
