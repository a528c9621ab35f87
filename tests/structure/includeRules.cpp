#include "structure/includeRules.h"

#include <algorithm>
#include <regex>
#include <sstream>

namespace {

// Parts between commas, without what stands in brackets, without blanks around them.
std::vector<std::string> listItems(const std::string& text) {
    const std::string plain = std::regex_replace(text, std::regex(R"(\([^)]*\))"), "");
    std::vector<std::string> items;
    std::istringstream parts(plain);
    for (std::string part; std::getline(parts, part, ',');) {
        const size_t first = part.find_first_not_of(" `");
        if (first == std::string::npos)
            continue;
        items.push_back(part.substr(first, part.find_last_not_of(" `") - first + 1));
    }
    return items;
}

std::vector<std::string> placesOf(const std::string& cell) {
    if (cell.find("nothing of ours") != std::string::npos)
        return {};
    if (cell.find("anything in src/") != std::string::npos)
        return {"*"};
    std::vector<std::string> places = listItems(cell);
    for (std::string& place : places)
        place = withoutEnding(place);
    return places;
}

std::string roomOf(const std::string& path) {
    return path.substr(0, path.find('/'));
}

std::string nameOf(const std::string& path) {
    return path.substr(path.find('/') + 1);
}

// Files "room/*" stand for all of a room's.
void addRow(const std::string& files, const std::string& places, IncludeRules* rules) {
    for (const std::string& file : listItems(files)) {
        if (nameOf(file) != "*") {
            rules->reach[withoutEnding(file)] = placesOf(places);
            continue;
        }
        for (const std::string& name : rules->fileOrder[roomOf(file)])
            rules->reach[roomOf(file) + "/" + name] = placesOf(places);
    }
}

}  // namespace

std::string withoutEnding(const std::string& path) {
    const size_t dot = path.rfind('.');
    return dot == std::string::npos ? path : path.substr(0, dot);
}

std::string sectionOf(const std::string& markdown, const std::string& heading) {
    const size_t begin = markdown.find(heading + "\n");
    if (begin == std::string::npos)
        return "";
    const size_t text = begin + heading.size() + 1;
    return markdown.substr(text, markdown.find("\n#", text) - text);
}

IncludeRules parseIncludeRules(const std::string& markdown) {
    static const std::regex listLine(R"(^- (\w+): (.*)$)");
    static const std::regex tableLine(R"(^\| ([^|]*[^| ]) +\| ([^|]*[^| ]) +\|$)");
    IncludeRules rules;
    bool inTable = false;
    std::istringstream lines(markdown);
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (line == "| File | May include |") {
            inTable = true;
        } else if (inTable && std::regex_match(line, match, tableLine)) {
            addRow(match[1], match[2], &rules);
        } else if (line.empty()) {
            inTable = false;
        } else if (std::regex_match(line, match, listLine)) {
            rules.roomOrder.push_back(match[1]);
            for (const std::string& name : listItems(match[2]))
                rules.fileOrder[match[1]].push_back(withoutEnding(name));
        }
    }
    return rules;
}

bool mayInclude(const IncludeRules& rules, const std::string& file, const std::string& included) {
    const std::string from = withoutEnding(file);
    const std::string to = withoutEnding(included);
    if (from == to)
        return true;

    const auto reach = rules.reach.find(from);
    if (reach == rules.reach.end())
        return false;
    for (const std::string& place : reach->second) {
        if (place == "*" || place == to || place == roomOf(to))
            return true;
    }

    const auto order = rules.fileOrder.find(roomOf(from));
    if (roomOf(from) != roomOf(to) || order == rules.fileOrder.end())
        return false;
    const auto begin = order->second.begin();
    const auto end = order->second.end();
    const auto own = std::find(begin, end, nameOf(from));
    return own != end && std::find(begin, own, nameOf(to)) != own;
}
