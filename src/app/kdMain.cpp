// The program entry: the OpenKODE runtime's main calls kdMain with the process arguments.

#include <KD/kd.h>

#include <cstdio>

#include "app/messageLoop.h"
#include "app/settings.h"
#include "app/startup.h"

// Returns 1 when bring-up or the message loop fails; it does not return otherwise.
KDint kdMain(KDint argc, const KDchar* const* argv) {
    parseSettings(argc, argv);

    // Line by line also into a file or a pipe, so that a killed service leaves its log whole.
    setvbuf(stdout, nullptr, _IOLBF, 0);

    const char* const programName = argv[0];
    if (!openDisplay(programName))
        return 1;
    prepareDrawing();
    showFirstPicture();
    return serveMessages(programName);
}
