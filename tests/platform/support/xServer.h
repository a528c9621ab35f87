// An X server of the test's own, and what a user sees and does on it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/support/childProcess.h"
#include "platform/support/pictureFiles.h"

class XServer {
public:
    // With further options of Xvfb's. Null when there is no Xvfb on this machine.
    static std::unique_ptr<XServer> start(int width, int height, int depth = 24,
                                          const std::vector<std::string>& options = {});
    ~XServer();

    const std::string& displayName() const { return name; }  // ":N"
    pid_t id() const { return server->id(); }
    // "DISPLAY=:N", for the environment of clients.
    std::string variable() const { return "DISPLAY=" + name; }
    void kill();
    void stop();  // it answers nobody until it goes on
    void goOn();

    // The one window on the screen, 0 if there is none.
    uint32_t onlyWindow() const;
    // Where a colour has less than eight bits, those below are 0.
    DecodedPicture picture(uint32_t window) const;
    // Whether the window shows `expected` before anybody would call it hung. The server tells
    // nobody when it has drawn what a client sent, so it is asked until it has.
    bool comesToShow(uint32_t window, const DecodedPicture& expected) const;
    std::string caption(uint32_t window) const;
    bool wantsFullScreen(uint32_t window) const;
    // The part that a compositor may take as opaque: x, y, width, height; empty if it says nothing.
    std::vector<long> opaqueRegion(uint32_t window) const;

    // A window manager's part: from manage() on, windows wait until somebody maps them.
    void manage() const;
    uint32_t awaitMapRequest() const;
    void mapWithSize(uint32_t window, unsigned width, unsigned height) const;

    // Another window comes and goes above everything, and the server keeps nothing of what is
    // below.
    void coverForAMoment() const;
    void closeByUser(uint32_t window) const;          // as a window manager asks a window to close
    void destroy(uint32_t window) const;              // by a client that it does not belong to
    void freePixmapsOfClient(uint32_t window) const;  // of the first that it has made
    void killClientOf(uint32_t window) const;         // as xkill does

private:
    struct Client;
    XServer();
    std::vector<long> property(uint32_t window, const char* property, unsigned long type) const;

    std::unique_ptr<ChildProcess> server;
    std::string name;
    std::unique_ptr<Client> client;
};
