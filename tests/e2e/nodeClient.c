/* A client in C: nodeClient NODE write TEXT | status TEXT | percent N | add NAME LABEL PERCENT |
 * update NAME PERCENT | unknown. Prints the error's text and ends with 1 if it was refused. */
#include <devctlSocket.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int sendCommand(int fd, unsigned code, void* payload, size_t size) {
    return devctl(fd, (int)code, payload, size, NULL);
}

static int sendItem(int fd, unsigned code, const char* name, const char* label, int percent) {
    char payload[512];
    const int header[] = {0, (int)strlen(name) + 1, percent};
    const int size = snprintf(payload + sizeof(header), sizeof(payload) - sizeof(header), "%s%c%s",
                              name, '\0', label);
    memcpy(payload, header, sizeof(header));
    return sendCommand(fd, code, payload, sizeof(header) + (size_t)size + 1);
}

static int run(int fd, int count, char** words) {
    int percent;
    if (count == 2 && strcmp(words[0], "write") == 0)
        return devctl_write(fd, words[1], strlen(words[1])) < 0 ? errno : EOK;
    if (count == 2 && strcmp(words[0], "status") == 0)
        return sendCommand(fd, 0x80010501, words[1], strlen(words[1]) + 1);
    if (count == 2 && strcmp(words[0], "percent") == 0) {
        percent = atoi(words[1]);
        return sendCommand(fd, 0x80040502, &percent, sizeof(percent));
    }
    if (count == 4 && strcmp(words[0], "add") == 0)
        return sendItem(fd, 0x800c0503, words[1], words[2], atoi(words[3]));
    if (count == 3 && strcmp(words[0], "update") == 0)
        return sendItem(fd, 0x800c0504, words[1], "", atoi(words[2]));
    return sendCommand(fd, 0x80010505, NULL, 0);
}

int main(int argc, char** argv) {
    int error, fd;
    if (argc < 3)
        return 2;
    fd = devctl_open(argv[1], O_WRONLY);
    error = fd < 0 ? errno : run(fd, argc - 2, argv + 2);
    if (error != EOK)
        fprintf(stderr, "%s\n", strerror(error));
    return error == EOK ? 0 : 1;
}
