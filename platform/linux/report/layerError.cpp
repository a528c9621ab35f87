#include "report/layerError.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

// Whether standard error is the journal's: it is told which stream that is, by device and inode.
bool goesToJournal() {
    const char* const stream = std::getenv("JOURNAL_STREAM");
    unsigned long long device, inode;
    struct stat found;
    return stream && std::sscanf(stream, "%llu:%llu", &device, &inode) == 2 &&
           fstat(STDERR_FILENO, &found) == 0 && found.st_dev == device && found.st_ino == inode;
}

}  // namespace

void layerError(const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "%svelkaris: %s\n", goesToJournal() ? "<3>" : "", text);
}
