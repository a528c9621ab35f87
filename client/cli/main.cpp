// Entry of velkarisctl: picks the verb from the table, or prints help.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "cli/exitStatus.h"
#include "cli/verbs.h"

namespace {

constexpr size_t kAny = static_cast<size_t>(-1);

struct Verb {
    const char* name;
    const char* operands;
    const char* summary;  // of one line, for the list of verbs
    const char* help;     // further lines, for the verb's own help
    size_t fewest;
    size_t most;
    int (*run)(const Options& options, const Operands& operands);
};

constexpr Verb kVerbs[] = {
    {"write", "[TEXT...]", "append lines of text",
     "The texts make one line, with a blank between them. Without TEXT, standard input is written\n"
     "as its lines come in, however much it is.\n",
     0, kAny, writeVerb},
    {"status", "TEXT", "set the text of the status line", "", 1, 1, statusVerb},
    {"percent", "N", "set the overall percent",
     "The percent is not drawn: the overall clock runs while it is not 0.\n", 1, 1, percentVerb},
    {"add", "NAME LABEL [PERCENT]", "add a progress item",
     "PERCENT is 0 unless given. An item of that name that is there already stays as it is.\n", 2,
     3, addVerb},
    {"update", "NAME PERCENT", "set the percent of a progress item",
     "A console takes the percent of an unknown item and does nothing with it.\n", 2, 2,
     updateVerb},
    {"set", "NAME LABEL PERCENT", "add a progress item, or set its percent",
     "The label of an item that is there already stays as it is.\n", 3, 3, setVerb},
    {"gauge", "NAME LABEL", "show percents from standard input as a progress item",
     "Input as for a progress dialog: percents on lines of their own, and blocks between lines "
     "XXX\n"
     "with a percent on the first line and text, which becomes lines. Reads on to the end of its\n"
     "input even if the console goes away; then the exit status tells.\n",
     2, 2, gaugeVerb},
    {"run", "[--item NAME] [--label TEXT] [--] COMMAND...", "run a command and show how far it is",
     "  --item NAME        the item's name (default: one that is new)\n"
     "  --label TEXT       the item's label (default: the command)\n\n"
     "The command's output becomes lines and is passed through unchanged; percents in it move the\n"
     "item. The exit status is the command's own, 128+N if signal N ended it, 126 or 127 if it\n"
     "could not be run; without a console it is not run, and the status is 3.\n",
     1, kAny, runVerb},
    {"tail", "[-n N] FILE...", "follow files, also when they are replaced",
     "  -n, --lines N      begin with the last N lines of each file (default: 10)\n\n"
     "Runs until it is interrupted. While no console is there it waits for one and then goes on\n"
     "where it was.\n",
     1, kAny, tailVerb},
    {"demo", "[--seconds N]", "play a sample flashing session",
     "  --seconds N        how long the session takes (default: 30)\n", 0, 0, demoVerb},
    {"wait", "[--seconds N]", "wait until a console answers",
     "  --seconds N        give up after N seconds, with status 3 (default: never)\n\n"
     "What waiting does not mend, such as no permission, ends it at once with status 1.\n",
     0, 0, waitVerb},
};

constexpr char kGlobalOptions[] =
    "  -d, --device PATH  the console's node (default: $VELKARIS_NODE, or /dev/Velkaris)\n"
    "  -q, --quiet        say nothing; the exit status tells\n"
    "  -t, --timeout S    give up on a console that does not answer within S seconds\n"
    "                     (default: 10; 0: never)\n"
    "      --ascii=MODE   text beyond ASCII, which a console cannot show: translit (default),\n"
    "                     pass or refuse\n"
    "  -h, --help         this help; after a verb, the verb's\n"
    "  -V, --version      the version\n";

constexpr char kStatuses[] =
    "Exit status: 0 done, 1 the command failed, 2 wrong usage, 3 no console is there.\n";

void printHelp() {
    std::printf("Usage: velkarisctl [OPTION...] VERB [ARGUMENT...]\n\nVerbs:\n");
    for (const Verb& verb : kVerbs)
        std::printf("  %-8s %-45s %s\n", verb.name, verb.operands, verb.summary);
    std::printf("\nOptions:\n%s\n%s", kGlobalOptions, kStatuses);
}

void printVerbHelp(const Verb& verb) {
    std::printf("Usage: velkarisctl [OPTION...] %s %s\n\nTo %s.\n%s\nOptions:\n%s\n%s", verb.name,
                verb.operands, verb.summary, verb.help, kGlobalOptions, kStatuses);
}

int usageError(const std::string& wrong, const Verb* verb) {
    std::fprintf(stderr, "velkarisctl: %s\n", wrong.c_str());
    if (verb)
        std::fprintf(stderr, "Usage: velkarisctl [OPTION...] %s %s\n", verb->name, verb->operands);
    else
        std::fprintf(stderr, "Try 'velkarisctl --help'.\n");
    return kUsageError;
}

int runChecked(const Verb& verb, const CommandLine& line) {
    if (line.options.help)
        return printVerbHelp(verb), kDone;
    if (line.operands.size() < verb.fewest)
        return usageError("too few operands", &verb);
    if (line.operands.size() > verb.most)
        return usageError("too many operands", &verb);
    return verb.run(line.options, line.operands);
}

// What we open ourselves, the console first of all, must not become one of the standard streams:
// messages would go there.
void openClosedStreams() {
    int opened = open("/dev/null", O_RDWR);
    while (opened >= 0 && opened <= STDERR_FILENO)
        opened = dup(opened);
    if (opened >= 0)
        close(opened);
}

}  // namespace

int main(int argc, char** argv) {
    openClosedStreams();
    CommandLine line;
    const std::string wrong = parseCommandLine({argv + 1, argv + argc}, &line);
    const auto verb = std::find_if(std::begin(kVerbs), std::end(kVerbs),
                                   [&](const Verb& v) { return line.verb == v.name; });
    const bool known = verb != std::end(kVerbs);
    if (!wrong.empty())
        return usageError(wrong, known ? verb : nullptr);
    if (line.options.version)
        return std::printf("velkarisctl %s\n", velkaris_version()), kDone;
    if (known)
        return runChecked(*verb, line);
    if (line.options.help && line.verb.empty())
        return printHelp(), kDone;
    return usageError(line.verb.empty() ? "no verb given" : "unknown verb '" + line.verb + "'",
                      nullptr);
}
