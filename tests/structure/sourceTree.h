// The source tree as text: which files there are and what they include.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct SourceFile {
    std::string path;  // from the folder that was read, '/' between its parts
    std::string text;
};

// Every .h, .c and .cpp file below `folder` of the project, in the order of their paths.
std::vector<SourceFile> readSources(const std::string& folder);

// One file of the project.
std::string readFile(const std::string& path);

// What stands between the quotes, the angle brackets, or behind a bare #include (a macro).
std::vector<std::string> quotedIncludes(const std::string& text);
std::vector<std::string> angleIncludes(const std::string& text);
std::vector<std::string> macroIncludes(const std::string& text);

// Each #if, #ifdef, #ifndef and #elif line.
std::vector<std::string> conditionals(const std::string& text);
