#define FUSE_USE_VERSION 312

#include "nothingNode.h"

#include <fcntl.h>
#include <fuse3/cuse_lowlevel.h>
#include <fuse_lowlevel.h>
#include <unistd.h>

#include "ownership/fileDescriptor.h"

namespace {

int readyEnd = -1;

void tellReady() {
    [[maybe_unused]] const ssize_t told = write(readyEnd, "r", 1);
}

void attributes(fuse_req_t request, fuse_ino_t, fuse_file_info*) {
    struct stat found = {};
    found.st_mode = S_IFREG | 0666;
    found.st_nlink = 1;
    fuse_reply_attr(request, &found, 0);
}

void openFile(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
    info->direct_io = 1;
    fuse_reply_open(request, info);
}

void takeWrite(fuse_req_t request, fuse_ino_t, const char*, size_t size, off_t, fuse_file_info*) {
    fuse_reply_write(request, size);
}

void takeIoctl(fuse_req_t request, fuse_ino_t, unsigned, void*, fuse_file_info*, unsigned,
               const void*, size_t, size_t) {
    fuse_reply_ioctl(request, 0, nullptr, 0);
}

void openDevice(fuse_req_t request, fuse_file_info* info) {
    fuse_reply_open(request, info);
}

void takeDeviceWrite(fuse_req_t request, const char*, size_t size, off_t, fuse_file_info*) {
    fuse_reply_write(request, size);
}

void takeDeviceIoctl(fuse_req_t request, int, void*, fuse_file_info*, unsigned, const void*, size_t,
                     size_t) {
    fuse_reply_ioctl(request, 0, nullptr, 0);
}

void noSplice(void*, fuse_conn_info* connection) {
    connection->want &=
        ~static_cast<unsigned>(FUSE_CAP_SPLICE_READ | FUSE_CAP_SPLICE_WRITE | FUSE_CAP_SPLICE_MOVE);
}

}  // namespace

void serveNothing(const std::string& path, int ready) {
    FileDescriptor(open(path.c_str(), O_CREAT | O_WRONLY, 0666)).reset();
    fuse_lowlevel_ops operations = {};
    operations.init = noSplice;
    operations.getattr = attributes;
    operations.open = openFile;
    operations.write = takeWrite;
    operations.ioctl = takeIoctl;
    const char* const arguments[] = {"bench"};
    fuse_args args = FUSE_ARGS_INIT(1, const_cast<char**>(arguments));
    fuse_session* const session = fuse_session_new(&args, &operations, sizeof(operations), nullptr);
    if (!session || fuse_session_mount(session, path.c_str()) != 0)
        _exit(1);
    readyEnd = ready;
    tellReady();
    fuse_session_loop(session);
    _exit(0);
}

void serveNothingAsDevice(const std::string& path, int ready) {
    cuse_lowlevel_ops operations = {};
    operations.init_done = [](void*) { tellReady(); };
    operations.open = openDevice;
    operations.write = takeDeviceWrite;
    operations.ioctl = takeDeviceIoctl;
    const std::string name = "DEVNAME=" + path.substr(path.rfind('/') + 1);
    const char* const settings[] = {name.c_str()};
    cuse_info information = {};
    information.dev_info_argc = 1;
    information.dev_info_argv = const_cast<const char**>(settings);
    char program[] = "bench", foreground[] = "-f", oneThread[] = "-s";
    char* arguments[] = {program, foreground, oneThread};
    readyEnd = ready;
    _exit(cuse_lowlevel_main(3, arguments, &information, &operations, nullptr));
}
