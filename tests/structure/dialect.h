// What clang-tidy has no check for in the dialect of the layer and the client.
#pragma once

#include <string>
#include <vector>

// The text without comments and without what stands between quotes; lines stay where they are.
std::string codeOf(const std::string& text);

// Calls of the C library's functions without std::, in `code`, each as it is written there.
std::vector<std::string> bareLibraryCalls(const std::string& code);

// Enumerators with the prefix of constants ("kGone"), in `code`.
std::vector<std::string> prefixedEnumerators(const std::string& code);

// Each sizeof whose operand is a value in brackets ("sizeof(count"), in `code`. A type is known by
// its ending, its capital letter, or by being one of the few others that are in use.
std::vector<std::string> bracketedValues(const std::string& code);
