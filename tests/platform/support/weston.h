// A Weston compositor of the test's own, without a display or in a window on an X server.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/support/childProcess.h"
#include "platform/support/xServer.h"
#include "support/temporaryFolder.h"

class Weston {
public:
    // Null when there is no Weston on this machine. One that draws nowhere still shows its clients'
    // frames, as far as they can tell.
    static std::unique_ptr<Weston> startHeadless(int width, int height);
    static std::unique_ptr<Weston> startOn(const XServer& server, int width, int height);

    // For the environment of clients.
    std::vector<std::string> variables() const;

    void kill(int signal) { process->kill(signal); }

private:
    Weston() = default;
    static std::unique_ptr<Weston> start(const std::vector<std::string>& backend,
                                         const std::string& variable);

    TemporaryFolder folder;
    std::unique_ptr<ChildProcess> process;
};
