// What one client asks of an X server from now on, as the server sees it.
#pragma once

#include <xcb/record.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

struct XRequest {
    enum Kind { plainImage, sharedImage, copy, other };
    Kind kind;
    int firstRow;  // of images and copies, where they go to; 0 of others
    int rows;
};
bool operator==(const XRequest& left, const XRequest& right);
std::ostream& operator<<(std::ostream& stream, const XRequest& request);

class XRecording {
public:
    // Of the client whose window that is, on the server of that name (":1").
    XRecording(const std::string& server, uint32_t window);
    ~XRecording();
    XRecording(const XRecording&) = delete;
    XRecording& operator=(const XRecording&) = delete;

    // Ends it: what the server has handled since the start.
    std::vector<XRequest> finish();

private:
    // What the server's replies carry, up to the first of the category `last`.
    std::vector<XRequest> readUntil(uint8_t last);

    xcb_connection_t* control_;
    xcb_connection_t* data_;
    xcb_record_context_t context_;
    xcb_record_enable_context_cookie_t replies_;
    uint8_t sharedMemory_;  // the first byte of that extension's requests; 0: not there
};
