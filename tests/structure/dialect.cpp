#include "structure/dialect.h"

#include <algorithm>
#include <cctype>
#include <regex>
#include <set>

namespace {

// Position behind the literal or comment that begins at `at`; `at` itself if none does.
size_t skipped(const std::string& text, size_t at) {
    const auto behind = [&text](const std::string& end, size_t from) {
        const size_t found = text.find(end, from);
        return found == std::string::npos ? text.size() : found + end.size();
    };
    if (text.compare(at, 2, "//") == 0)
        return std::min(text.find('\n', at), text.size());
    if (text.compare(at, 2, "/*") == 0)
        return behind("*/", at + 2);
    if (text.compare(at, 3, "R\"(") == 0)
        return behind(")\"", at + 3);
    // An apostrophe after a digit or a letter parts the digits of a number.
    const bool isQuote =
        text[at] == '"' || (text[at] == '\'' && (at == 0 || !std::isalnum(text[at - 1])));
    if (!isQuote)
        return at;
    size_t end = at + 1;
    while (end < text.size() && text[end] != text[at])
        end += text[end] == '\\' ? 2 : 1;
    return std::min(end + 1, text.size());
}

// Functions that members are named after as well, such as remove, are left out.
const std::set<std::string> kLibraryFunctions = {
    "_Exit",   "abort",   "abs",      "atexit",   "atof",      "atoi",    "atol",    "atoll",
    "bsearch", "calloc",  "ceil",     "difftime", "exit",      "fabs",    "fclose",  "feof",
    "ferror",  "fflush",  "fgetc",    "fgets",    "floor",     "fmod",    "fopen",   "fprintf",
    "fputc",   "fputs",   "fread",    "free",     "fscanf",    "fseek",   "ftell",   "fwrite",
    "getenv",  "gmtime",  "isalnum",  "isalpha",  "iscntrl",   "isdigit", "isgraph", "islower",
    "isprint", "ispunct", "isspace",  "isupper",  "isxdigit",  "labs",    "llround", "localtime",
    "lround",  "malloc",  "memchr",   "memcmp",   "memcpy",    "memmove", "memset",  "mktime",
    "perror",  "pow",     "printf",   "putc",     "putchar",   "puts",    "qsort",   "raise",
    "rand",    "realloc", "round",    "setbuf",   "setlocale", "setvbuf", "signal",  "snprintf",
    "sprintf", "sqrt",    "srand",    "sscanf",   "strcat",    "strchr",  "strcmp",  "strcoll",
    "strcpy",  "strcspn", "strerror", "strftime", "strlen",    "strncat", "strncmp", "strncpy",
    "strpbrk", "strrchr", "strspn",   "strstr",   "strtod",    "strtof",  "strtok",  "strtol",
    "strtold", "strtoll", "strtoul",  "strtoull", "system",    "time",    "tmpfile", "tolower",
    "toupper", "trunc",   "vfprintf", "vprintf",  "vsnprintf", "vsprintf"};

}  // namespace

std::string codeOf(const std::string& text) {
    std::string code;
    for (size_t at = 0; at < text.size();) {
        const size_t end = skipped(text, at);
        if (end == at) {
            code += text[at++];
            continue;
        }
        // A pair of quotes stays, so that an empty operand is not made of a text.
        if (text[at] != '/')
            code += "\"\"";
        for (; at < end; ++at) {
            if (text[at] == '\n')
                code += '\n';
        }
    }
    return code;
}

std::vector<std::string> bareLibraryCalls(const std::string& code) {
    // What is called, with what stands before it: "std::", "object.", the end of "->".
    static const std::regex call(R"(([\w:.>~]*[:.>~])?(\w+)\()");
    std::vector<std::string> found;
    for (std::sregex_iterator match(code.begin(), code.end(), call), end; match != end; ++match) {
        const std::string before = (*match)[1];
        if ((before.empty() || before == "::") && kLibraryFunctions.count((*match)[2]) != 0)
            found.push_back(before + (*match)[2].str());
    }
    return found;
}

std::vector<std::string> prefixedEnumerators(const std::string& code) {
    static const std::regex enumeration(R"(\benum\b[^;(){}]*\{([^}]*)\})");
    static const std::regex enumerator(R"((?:^|,)\s*(k[A-Z]\w*))");
    std::vector<std::string> found;
    for (std::sregex_iterator match(code.begin(), code.end(), enumeration), end; match != end;
         ++match) {
        const std::string body = (*match)[1];
        for (std::sregex_iterator name(body.begin(), body.end(), enumerator); name != end; ++name)
            found.push_back((*name)[1]);
    }
    return found;
}

std::vector<std::string> bracketedValues(const std::string& code) {
    static const std::regex size(R"(\bsizeof\(\s*([^()]*))");
    // Neither a type's name nor a text.
    static const std::regex value(
        R"((?!(?:const )?(?:unsigned|signed|void|bool|char|short|int|long|float|double|wchar_t|struct)\b)"
        R"()(?![\w:]*_t\b)(?!(?:iovec|ucred|cmsghdr|timespec|pollfd)\b)[a-z*&].*)");
    std::vector<std::string> found;
    for (std::sregex_iterator match(code.begin(), code.end(), size), end; match != end; ++match) {
        if (std::regex_match((*match)[1].str(), value))
            found.push_back(match->str());
    }
    return found;
}
