// Who may include whom, as docs/architecture.md has it for the service and for the layer: the order
// of files in each room, and a table of what each file may reach beyond its room.
#pragma once

#include <map>
#include <string>
#include <vector>

struct IncludeRules {
    std::vector<std::string> roomOrder;
    std::map<std::string, std::vector<std::string>> fileOrder;  // room to its files' names
    std::map<std::string, std::vector<std::string>> reach;      // "room/file" to places
};

// What stands under a heading ("### In the layer") until the next heading of any level.
std::string sectionOf(const std::string& markdown, const std::string& heading);

// Reads the list ("- room: file, file.h, ...") and the table ("| File | May include |"). A place is
// "room/file", a room, or "*" for anything.
IncludeRules parseIncludeRules(const std::string& markdown);

// Whether `file` may include `included`, both as "room/file.h" or "room/file.cpp".
bool mayInclude(const IncludeRules& rules, const std::string& file, const std::string& included);

// "room/file.h" without its ending.
std::string withoutEnding(const std::string& path);
