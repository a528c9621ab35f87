#include "cli/commandLine.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace {

// Stores an option's value; false if it makes no sense. A flag gets an empty text.
using Store = bool (*)(Options* options, const std::string& value);

bool storeTimeout(Options* options, const std::string& value) {
    char* end = nullptr;
    const double seconds = std::strtod(value.c_str(), &end);
    if (value.empty() || *end != '\0' || !(seconds >= 0 && seconds <= 1e6))
        return false;
    options->timeLimit = static_cast<unsigned int>(std::ceil(seconds * 1000));
    return true;
}

bool storeAscii(Options* options, const std::string& value) {
    if (value == "translit")
        options->textMode = VELKARIS_TEXT_TRANSLITERATE;
    else if (value == "pass")
        options->textMode = VELKARIS_TEXT_PASS;
    else if (value == "refuse")
        options->textMode = VELKARIS_TEXT_REFUSE;
    else
        return false;
    return true;
}

std::optional<unsigned int> parseCount(const std::string& value) {
    const std::optional<int32_t> number = parseNumber(value);
    if (!number || *number < 0)
        return std::nullopt;
    return static_cast<unsigned int>(*number);
}

bool storeSeconds(Options* options, const std::string& value) {
    options->seconds = parseCount(value);
    return options->seconds.has_value();
}

bool storeLines(Options* options, const std::string& value) {
    const std::optional<unsigned int> count = parseCount(value);
    options->lines = count.value_or(0);
    return count.has_value();
}

struct Option {
    const char* name;
    char letter;       // 0: none
    const char* verb;  // null: global; else the verbs that take it, each between blanks
    bool hasValue;
    Store store;
};

constexpr Option kOptions[] = {
    {"device", 'd', nullptr, true,
     [](Options* o, const std::string& v) { return o->device = v, !v.empty(); }},
    {"quiet", 'q', nullptr, false, [](Options* o, const std::string&) { return o->quiet = true; }},
    {"timeout", 't', nullptr, true, storeTimeout},
    {"ascii", 0, nullptr, true, storeAscii},
    {"help", 'h', nullptr, false, [](Options* o, const std::string&) { return o->help = true; }},
    {"version", 'V', nullptr, false,
     [](Options* o, const std::string&) { return o->version = true; }},
    {"seconds", 0, " demo wait ", true, storeSeconds},
    {"item", 0, " run ", true, [](Options* o, const std::string& v) { return o->item = v, true; }},
    {"label", 0, " run ", true,
     [](Options* o, const std::string& v) { return o->label = v, true; }},
    {"lines", 'n', " tail ", true, storeLines},
};

bool takenBy(const Option& option, const std::string& verb) {
    return !option.verb ||
           (!verb.empty() && std::string(option.verb).find(" " + verb + " ") != std::string::npos);
}

const Option* findOption(const std::string& verb, const std::string& name, char letter) {
    const auto found =
        std::find_if(std::begin(kOptions), std::end(kOptions), [&](const Option& option) {
            return takenBy(option, verb) &&
                   (letter ? option.letter == letter : name == option.name);
        });
    return found == std::end(kOptions) ? nullptr : found;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Whether an argument is an option; a single "-" and a negative number are not.
bool isOption(const std::string& argument) {
    return argument.size() > 1 && argument[0] == '-' && !isDigit(argument[1]);
}

class Parser {
public:
    Parser(const std::vector<std::string>& arguments, CommandLine* line)
        : arguments_(arguments), line_(line) {}

    // Takes options up to the first operand. Returns what is wrong, if anything.
    std::string takeOptions() {
        while (!atEnd() && isOption(arguments_[next_])) {
            const std::string argument = arguments_[next_++];
            if (argument == "--") {
                endedByMark_ = true;
                return {};
            }
            const std::string wrong =
                argument[1] == '-' ? takeLong(argument.substr(2)) : takeShort(argument.substr(1));
            if (!wrong.empty())
                return wrong;
        }
        return {};
    }

    bool atEnd() const { return next_ == arguments_.size(); }
    bool endedByMark() const { return endedByMark_; }
    const std::string& take() { return arguments_[next_++]; }

private:
    std::string takeLong(const std::string& argument) {
        const size_t equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        const Option* option = findOption(line_->verb, name, 0);
        if (!option)
            return "unknown option --" + name;
        if (!option->hasValue && equals != std::string::npos)
            return "option --" + name + " takes no value";
        return equals == std::string::npos
                   ? store(*option, "--" + name)
                   : storeValue(*option, "--" + name, argument.substr(equals + 1));
    }

    // A cluster of letters; what follows the letter of an option with a value is the value.
    std::string takeShort(const std::string& letters) {
        for (size_t i = 0; i < letters.size(); ++i) {
            const std::string shown = std::string("-") + letters[i];
            const Option* option = findOption(line_->verb, {}, letters[i]);
            if (!option)
                return "unknown option " + shown;
            if (option->hasValue && i + 1 < letters.size())
                return storeValue(*option, shown, letters.substr(i + 1));
            const std::string wrong = store(*option, shown);
            if (!wrong.empty())
                return wrong;
        }
        return {};
    }

    std::string store(const Option& option, const std::string& shown) {
        if (!option.hasValue)
            return storeValue(option, shown, {});
        if (atEnd())
            return "option " + shown + " needs a value";
        return storeValue(option, shown, take());
    }

    std::string storeValue(const Option& option, const std::string& shown,
                           const std::string& value) {
        if (option.store(&line_->options, value))
            return {};
        return "option " + shown + " cannot be '" + value + "'";
    }

    const std::vector<std::string>& arguments_;
    CommandLine* line_;  // borrowed
    size_t next_ = 0;
    bool endedByMark_ = false;
};

}  // namespace

std::string parseCommandLine(const std::vector<std::string>& arguments, CommandLine* line) {
    Parser parser(arguments, line);
    std::string wrong = parser.takeOptions();
    if (wrong.empty() && !parser.atEnd()) {
        line->verb = parser.take();
        if (!parser.endedByMark())
            wrong = parser.takeOptions();
    }
    while (!parser.atEnd())
        line->operands.push_back(parser.take());
    return wrong;
}

std::optional<int32_t> parseNumber(const std::string& text) {
    int32_t number = 0;
    const char* first = text.data();
    const char* last = first + text.size();
    if (first != last && *first == '+' && text.size() > 1 && isDigit(first[1]))
        ++first;
    const auto [end, error] = std::from_chars(first, last, number);
    if (error != std::errc() || end != last)
        return std::nullopt;
    return number;
}

std::optional<int32_t> parsePercent(std::string text) {
    if (text.size() > 1 && text.back() == '%')
        text.pop_back();
    return parseNumber(text);
}
