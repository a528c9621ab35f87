// Texts for the error numbers: in the console's terms where the system's would mislead.
#include <cerrno>
#include <cstring>

#include "velkaris/velkaris.h"

const char* velkaris_error_text(int error) {
    switch (error) {
        case 0: return "done";
        case ENODEV: return "no console is there";
        case ETIMEDOUT: return "the console does not answer";
        case EMSGSIZE: return "the text does not fit in one message";
        case ENOBUFS: return "the console keeps no more unfinished texts of this user";
        case EILSEQ: return "the text has characters that the console cannot show";
        case ENOSYS: return "the console does not know this command";
        default: return std::strerror(error);
    }
}
