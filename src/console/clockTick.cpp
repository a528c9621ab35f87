#include "console/clockTick.h"

#include "app/settings.h"
#include "console/consoleModel.h"
#include "screen/frame.h"

namespace {

constexpr int32_t kLastRunningPercent = 99;  // an item's clock stands still above it

void advanceClocks() {
    secondsSinceStart += 1;

    // No upper stop: at 100 % the overall clock keeps running until a client sets 0.
    if (consoleStatus.overallPercent != 0)
        consoleStatus.overallElapsed += 1;

    for (ConsoleNode* node = consoleList; node; node = node->next) {
        ConsoleEntry* entry = node->entry;
        if (entry->name && entry->percent <= kLastRunningPercent)
            entry->elapsedSeconds += 1;
    }
}

bool logoHasItsTime() {
    return appSettings.logoPath && secondsSinceStart < appSettings.logoTime;
}

}  // namespace

int ClockTick(message_context_t*, int, unsigned, void*) {
    advanceClocks();
    if (!logoHasItsTime())
        drawFrame(appSettings.backgroundColour, appSettings.foregroundColour,
                  appSettings.statusColour, appSettings.progressNameColour);
    return 0;
}
