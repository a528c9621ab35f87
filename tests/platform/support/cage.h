// A Cage compositor of the test's own, in a window on an X server: one that shows a single program
// in full screen, as devices do.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/support/childProcess.h"
#include "platform/support/xServer.h"
#include "support/temporaryFolder.h"

class Cage {
public:
    // The size of its display on a server with room for it.
    static constexpr int kWidth = 1024;
    static constexpr int kHeight = 768;

    // Null when there is no Cage on this machine.
    static std::unique_ptr<Cage> startOn(const XServer& server);
    ~Cage();

    // For the environment of clients.
    std::vector<std::string> variables() const;

private:
    Cage() = default;

    TemporaryFolder folder;
    std::unique_ptr<ChildProcess> process;
    std::string display;
};
