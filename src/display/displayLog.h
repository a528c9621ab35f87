// The display's progress and error lines, each behind the prefix "[Velkaris] ".
#pragma once

// One whole printf-like line to standard output.
void displayLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

// One whole printf-like line to standard error.
void displayError(const char* format, ...) __attribute__((format(printf, 1, 2)));
