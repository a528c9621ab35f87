// The connection to one console's device node: made when it is needed, made again after the console
// went away.
#pragma once

#include <string>
#include <vector>

#include "lib/message.h"
#include "lib/ownedFd.h"

class ConsoleLink {
public:
    explicit ConsoleLink(std::string path) : path_(std::move(path)) {}

    // These return 0 or an error number; ENODEV for everything that means that no console is there.
    int connect();
    int check();

    // Sends messages that belong together. If the console that was connected is gone, the one that
    // took its place gets them all: what the old one may have taken went with it.
    int send(const std::vector<Message>& messages);

    void disconnect() { fd_.reset(); }

private:
    int sendAll(const std::vector<Message>& messages);

    std::string path_;
    OwnedFd fd_;
};
