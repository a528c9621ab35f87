#include "window/x11/x11Segment.h"

#include <fcntl.h>
#include <sys/mman.h>

#include "ownership/fileDescriptor.h"
#include "window/x11/x11Server.h"

namespace {

// Version 1.2 takes memory by its descriptor.
bool takesDescriptors(xcb_connection_t* connection) {
    const X11Message<xcb_shm_query_version_reply_t> version(
        xcb_shm_query_version_reply(connection, xcb_shm_query_version(connection), nullptr));
    return version && (version->major_version > 1 ||
                       (version->major_version == 1 && version->minor_version >= 2));
}

// Takes all of the memory at once: what there is not would end the process when it is written.
FileDescriptor allocate(size_t bytes) {
    FileDescriptor file(memfd_create("velkaris-x11", MFD_CLOEXEC));
    if (file && posix_fallocate(file.get(), 0, static_cast<off_t>(bytes)) != 0)
        file.reset();
    return file;
}

}  // namespace

void X11Segment::Unmap::operator()(uint8_t* memory) const {
    munmap(memory, bytes);
}

std::optional<X11Segment> shareX11Segment(xcb_connection_t* connection, size_t bytes) {
    const xcb_query_extension_reply_t* const extension =
        xcb_get_extension_data(connection, &xcb_shm_id);
    if (!extension || !extension->present || !takesDescriptors(connection))
        return std::nullopt;
    FileDescriptor file = allocate(bytes);
    if (!file)
        return std::nullopt;
    void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED)
        return std::nullopt;
    X11Segment segment{
        {static_cast<uint8_t*>(memory), X11Segment::Unmap{bytes}},
        xcb_generate_id(connection),
        static_cast<uint8_t>(extension->first_event + XCB_SHM_COMPLETION),
    };
    // A forwarded server offers this and fails, because the descriptor gets lost on the way.
    const X11Message<xcb_generic_error_t> error(xcb_request_check(
        connection, xcb_shm_attach_fd_checked(connection, segment.id, file.release(), true)));
    if (error || xcb_connection_has_error(connection))
        return std::nullopt;
    return segment;
}
