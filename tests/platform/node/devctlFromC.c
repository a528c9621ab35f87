/* The client header in a program in C, which is all that it needs. */
#include <devctlSocket.h>

int useNodeFromC(const char* path, const char* text, int code);

int useNodeFromC(const char* path, const char* text, int code) {
    const size_t size = strlen(text);
    char payload[64];
    int info = -1;
    int failed = 0;
    const int fd = devctl_open(path, O_WRONLY);
    if (fd < 0)
        return 1;
    memcpy(payload, text, size);
    if (devctl_write(fd, text, size) != (ssize_t)size)
        failed = 2;
    else if (devctl(fd, code, payload, size, &info) != EOK || info != 0)
        failed = 3;
    close(fd);
    return failed;
}
