// Texts for the error numbers: in the console's terms where the system's would mislead.
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "velkaris/velkaris.h"

namespace {

const char* tooManyOfThisUser() {
    static thread_local std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "too many connections of user %u", geteuid());
    return text.data();
}

}  // namespace

const char* velkaris_error_text(int error) {
    switch (error) {
        case 0: return "done";
        case ENODEV: return "no console is there";
        case ETIMEDOUT: return "the console does not answer";
        case EMSGSIZE: return "the text does not fit in one message";
        case ENOBUFS: return "the console keeps no more unfinished texts of this user";
        case EILSEQ: return "the text has characters that the console cannot show";
        case EUSERS: return tooManyOfThisUser();
        case EBUSY: return "the console has too many connections";
        case ENOSYS: return "the console does not know this command";
        default: return std::strerror(error);
    }
}
