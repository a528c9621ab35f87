// What becomes of text that the console cannot show: it has glyphs for ASCII alone.
#pragma once

#include <string>
#include <string_view>

#include "velkaris/velkaris.h"

// Puts `text`, UTF-8 with possible NULs, into *plain as `mode` says. Returns 0, EILSEQ if the mode
// refuses it, or the error number of a converter that could not be had. Malformed bytes become '?'.
// The result depends on the mode and the text alone, not on the process's locale.
int makePlain(std::string_view text, velkaris_text_mode mode, std::string* plain);
