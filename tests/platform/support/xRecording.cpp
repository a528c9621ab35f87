#include "platform/support/xRecording.h"

#include <xcb/shm.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "ownership/release.h"

namespace {

constexpr uint8_t kFromClient = 1;
constexpr uint8_t kStartOfData = 4;
constexpr uint8_t kEndOfData = 5;

template <typename T>
T readAs(const uint8_t* request) {
    T read;
    std::memcpy(&read, request, sizeof read);
    return read;
}

XRequest parse(const uint8_t* request, uint8_t sharedMemory) {
    if (request[0] == XCB_PUT_IMAGE) {
        const auto image = readAs<xcb_put_image_request_t>(request);
        return {XRequest::plainImage, image.dst_y, image.height};
    }
    if (request[0] == XCB_COPY_AREA) {
        const auto copy = readAs<xcb_copy_area_request_t>(request);
        return {XRequest::copy, copy.dst_y, copy.height};
    }
    if (request[0] == sharedMemory && request[1] == XCB_SHM_PUT_IMAGE) {
        const auto image = readAs<xcb_shm_put_image_request_t>(request);
        return {XRequest::sharedImage, image.dst_y, image.src_height};
    }
    return {XRequest::other, 0, 0};
}

}  // namespace

bool operator==(const XRequest& left, const XRequest& right) {
    return left.kind == right.kind && left.firstRow == right.firstRow && left.rows == right.rows;
}

std::ostream& operator<<(std::ostream& stream, const XRequest& request) {
    const char* const names[] = {"plain image", "shared image", "copy", "other request"};
    return stream << names[request.kind] << " of " << request.rows << " rows at "
                  << request.firstRow;
}

XRecording::XRecording(const std::string& server, uint32_t window)
    : control_(xcb_connect(server.c_str(), nullptr)), data_(xcb_connect(server.c_str(), nullptr)) {
    const xcb_query_extension_reply_t* const shm = xcb_get_extension_data(control_, &xcb_shm_id);
    sharedMemory_ = shm && shm->present ? shm->major_opcode : 0;
    const xcb_record_client_spec_t client = window;
    xcb_record_range_t everything{};
    everything.core_requests = {1, 127};
    everything.ext_requests = {{128, 255}, {0, 65535}};
    context_ = xcb_generate_id(control_);
    const std::unique_ptr<xcb_generic_error_t, Release<std::free>> error(xcb_request_check(
        control_,
        xcb_record_create_context_checked(control_, context_, 0, 1, 1, &client, &everything)));
    if (error || xcb_connection_has_error(control_))
        throw std::runtime_error("the X server records nothing");
    replies_ = xcb_record_enable_context(data_, context_);
    xcb_flush(data_);
    readUntil(kStartOfData);
}

XRecording::~XRecording() {
    xcb_disconnect(data_);
    xcb_disconnect(control_);
}

std::vector<XRequest> XRecording::finish() {
    xcb_record_disable_context(control_, context_);
    xcb_flush(control_);
    return readUntil(kEndOfData);
}

std::vector<XRequest> XRecording::readUntil(uint8_t last) {
    std::vector<XRequest> requests;
    for (;;) {
        const std::unique_ptr<xcb_record_enable_context_reply_t, Release<std::free>> reply(
            xcb_record_enable_context_reply(data_, replies_, nullptr));
        if (!reply)
            throw std::runtime_error("the recording has come to its end");
        if (reply->category == kFromClient) {
            const uint8_t* const bytes = xcb_record_enable_context_data(reply.get());
            const int count = xcb_record_enable_context_data_length(reply.get());
            for (int at = 0; at + 4 <= count;) {
                requests.push_back(parse(bytes + at, sharedMemory_));
                const int words = readAs<uint16_t>(bytes + at + 2);
                if (words == 0)
                    throw std::runtime_error("a request of a length that is not read here");
                at += 4 * words;
            }
        }
        if (reply->category == last)
            return requests;
    }
}
