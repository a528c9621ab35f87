#include "app/settings.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

AppSettings appSettings = {
    nullptr,         // fontPath
    nullptr,         // logoPath
    5,               // logoTime
    0x6e3b3b,        // backgroundColour
    0xffffff,        // foregroundColour
    0xc49191,        // statusColour
    0x000000,        // progressNameColour
    12,              // fontSize
    0,               // halfWidth
    "/dev/Velkaris"  // devicePath
};

namespace {

void parseColour(const char* text, uint32_t* colour) {
    // Unchecked on purpose: what is no hexadecimal number leaves the earlier colour in place.
    (void)sscanf(text, "%x", colour);
}

void applyOption(int option) {
    switch (option) {
        case 'p': appSettings.fontPath = optarg; break;
        case 'l': appSettings.logoPath = optarg; break;
        case 't': appSettings.logoTime = atoi(optarg); break;
        case 'f': appSettings.fontSize = atoi(optarg); break;
        case 'B': parseColour(optarg, &appSettings.backgroundColour); break;
        case 'F': parseColour(optarg, &appSettings.foregroundColour); break;
        case 'S': parseColour(optarg, &appSettings.statusColour); break;
        case 'P': parseColour(optarg, &appSettings.progressNameColour); break;
        case 'R': appSettings.halfWidth = 1; break;
        case 'h': printUsage(0);
        case '?': fprintf(stderr, "Error! Unexpected option: -%c\n", optopt); printUsage(1);
        case ':': fprintf(stderr, "Error! Option argument missing: -%c\n", optopt); printUsage(1);
    }
}

}  // namespace

void printUsage(int status) {
    // "progrss" is part of the line.
    fprintf(stderr,
            "Velkaris -p <font path> [-R] [-l <logo image>] [-t <logo time>] "
            "[-B <background color>] [-F <foreground color>] [-S <status line color>] "
            "[-P <progrss bar name color>] [-f <font size>]\n");
    exit(status);
}

void parseSettings(int argc, const char* const* argv) {
    char* const* arguments = const_cast<char* const*>(argv);

    // The leading colon tells a missing argument (':') from an unknown option ('?').
    for (int option; (option = getopt(argc, arguments, ":hl:t:B:F:S:P:f:p:R")) != -1;)
        applyOption(option);

    if (optind < argc) {
        fprintf(stderr, "Error! Unexpected operand: %s\n", argv[optind]);
        printUsage(1);
    }
    if (!appSettings.fontPath) {
        fprintf(stderr, "-p <font path> is mandatory option\n");
        printUsage(1);
    }
}
