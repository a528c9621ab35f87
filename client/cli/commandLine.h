// The command line of velkarisctl: global options, a verb, the verb's options and operands. Options
// end at the first operand, so that texts and commands need no protection; "--" ends them as well,
// and a negative number is an operand.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "velkaris/velkaris.h"

struct Options {
    std::optional<std::string> device;  // empty: the library's default node
    bool quiet = false;
    unsigned int timeLimit = VELKARIS_DEFAULT_TIME_LIMIT;  // milliseconds, 0: none
    velkaris_text_mode textMode = VELKARIS_TEXT_TRANSLITERATE;
    bool help = false;
    bool version = false;

    std::optional<unsigned int> seconds;  // demo, wait
    std::optional<std::string> item;      // run
    std::optional<std::string> label;     // run
    unsigned int lines = 10;              // tail
};

struct CommandLine {
    Options options;
    std::string verb;  // empty: none was given
    std::vector<std::string> operands;
};

// Fills `line`. Returns an empty text, or what is wrong.
std::string parseCommandLine(const std::vector<std::string>& arguments, CommandLine* line);

// An operand's or option's number, with an optional sign and, for a percent, an optional '%'.
std::optional<int32_t> parseNumber(const std::string& text);
std::optional<int32_t> parsePercent(std::string text);
