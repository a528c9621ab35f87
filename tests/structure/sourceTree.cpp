#include "structure/sourceTree.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

namespace {

namespace fs = std::filesystem;

std::string contentsOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool isSource(const fs::path& path) {
    const std::string extension = path.extension();
    return extension == ".h" || extension == ".c" || extension == ".cpp";
}

// The first group of each line that `pattern` matches.
std::vector<std::string> matches(const std::string& text, const std::regex& pattern) {
    std::vector<std::string> found;
    std::istringstream lines(text);
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_search(line, match, pattern))
            found.push_back(match[1]);
    }
    return found;
}

}  // namespace

std::vector<SourceFile> readSources(const std::string& folder) {
    const fs::path root = fs::path(VELKARIS_SOURCE_DIR) / folder;
    std::vector<SourceFile> files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
        if (entry.is_regular_file() && isSource(entry.path()))
            files.push_back(
                {fs::relative(entry.path(), root).generic_string(), contentsOf(entry.path())});
    }
    std::sort(files.begin(), files.end(),
              [](const SourceFile& a, const SourceFile& b) { return a.path < b.path; });
    return files;
}

std::string readFile(const std::string& path) {
    return contentsOf(fs::path(VELKARIS_SOURCE_DIR) / path);
}

std::vector<std::string> quotedIncludes(const std::string& text) {
    static const std::regex pattern(R"re(^\s*#\s*include(?:_next)?\s*"([^"]*)")re");
    return matches(text, pattern);
}

std::vector<std::string> angleIncludes(const std::string& text) {
    static const std::regex pattern(R"re(^\s*#\s*include(?:_next)?\s*<([^>]*)>)re");
    return matches(text, pattern);
}

std::vector<std::string> macroIncludes(const std::string& text) {
    static const std::regex pattern(R"re(^\s*#\s*include\s+([A-Za-z_]\w*))re");
    return matches(text, pattern);
}

std::vector<std::string> conditionals(const std::string& text) {
    static const std::regex pattern(R"re(^\s*(#\s*(?:if|ifdef|ifndef|elif)\b.*))re");
    return matches(text, pattern);
}
