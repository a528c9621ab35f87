// Cuts written text into rows that fit the drawing width: at newlines, else at the last space that
// fits, else inside the word. Reads widths from the atlas, so the atlas comes first.
#pragma once

#include "console/consoleModel.h"

// Appends the lines of `text` to *list as text entries, as many of the last as can be seen. The
// text stays the caller's and is written to: each space at which a line was wrapped is left as NUL.
// Null or empty adds nothing; a character too wide for any row gets a row of its own. Bytes that
// leave no trace on the screen are cut like any other, and then left out. False without memory:
// then *list is as it was.
bool appendTextLines(ConsoleNode** list, char* text);
