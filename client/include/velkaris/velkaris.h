// The client interface of the Velkaris status console: lines of text, a status text, an overall
// percent and named progress items, from C99 and C++98.
//
// Every function returns 0 or an error number, for which velkaris_error_text() has a text. Nothing
// here prints, ends the process, touches a signal handler or keeps state outside of a handle.
// Several threads may use the library at once, each with a handle of its own.
//
// Error numbers, beyond those that the system itself reports (EACCES, EMFILE, ...):
//   ENODEV     no console is there, or it went away and has not come back
//   ETIMEDOUT  the console did not answer within the handle's time limit
//   EMSGSIZE   the text, or name and label, do not fit in one message; nothing was sent
//   EILSEQ     VELKARIS_TEXT_REFUSE is set and the text is not plain ASCII; nothing was sent
//   EINVAL     a null pointer or a value outside of its enumeration; nothing was sent
//   EUSERS     the console has too many connections of this user; EBUSY: of all users
//   ENOBUFS    the console holds no more unfinished text of this user, or of all
//   ENOMEM, EAGAIN  no memory, or no thread could be started; nothing was sent
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define VELKARIS_API __attribute__((visibility("default")))
#else
#define VELKARIS_API
#endif

enum {
    VELKARIS_NO_TIME_LIMIT = 0,           // milliseconds; wait for as long as it takes
    VELKARIS_DEFAULT_TIME_LIMIT = 10000,  // milliseconds
    VELKARIS_TEXT_BYTES = 0x4000000,      // the longest written text: what a console keeps of one
    VELKARIS_STATUS_BYTES = 2031,         // the longest status text, without its NUL
    VELKARIS_NAME_AND_LABEL_BYTES = 2018  // the longest name and label together, without NULs
};

// What happens to text that the console has no glyphs for: everything outside of ASCII, and a NUL
// inside of a written text. Text comes in as UTF-8, whatever the locale. An item's name is a key
// and never shown, so it always travels as it is.
enum velkaris_text_mode {
    VELKARIS_TEXT_TRANSLITERATE = 0,  // the nearest ASCII, '?' where there is none (the default)
    VELKARIS_TEXT_PASS,               // as it is: such bytes draw nothing, a NUL ends the text
    VELKARIS_TEXT_REFUSE              // the call fails with EILSEQ
};

enum velkaris_percent_mode {
    VELKARIS_PERCENT_CLAMP = 0,  // to 0..100 (the default)
    VELKARIS_PERCENT_PASS        // as it is; the console draws what it gets
};

// A connection to one console, with its options. Not to be used by two threads at once, nor by the
// child of a fork().
typedef struct velkaris_console velkaris_console;

// Connects to the console whose device node is `path` and hands out a handle in *console, to be
// closed by the caller; *console is null on failure. A null `path` means the environment's
// VELKARIS_NODE, or /dev/Velkaris where that is unset or empty. `time_limit` is in milliseconds; it
// holds for this call and stays the handle's until velkaris_set_time_limit().
VELKARIS_API int velkaris_open(velkaris_console** console, const char* path,
                               unsigned int time_limit);

// Closes the handle; null is allowed. Waits for a command that timed out, but not beyond the time
// limit.
VELKARIS_API void velkaris_close(velkaris_console* console);

// The longest that a call may take from now on, in milliseconds. A call that fails with ETIMEDOUT
// may still take effect later, once the console goes on; until then the handle's next calls wait
// for it, each within the limit. With VELKARIS_NO_TIME_LIMIT a stopped console holds up its caller.
VELKARIS_API int velkaris_set_time_limit(velkaris_console* console, unsigned int time_limit);
VELKARIS_API int velkaris_set_text_mode(velkaris_console* console, enum velkaris_text_mode mode);
VELKARIS_API int velkaris_set_percent_mode(velkaris_console* console,
                                           enum velkaris_percent_mode mode);

// Succeeds if a console answers; changes nothing on it.
VELKARIS_API int velkaris_check(velkaris_console* console);

// Appends `length` bytes of text as lines: cut at newlines and where the screen ends, one newline
// at the very end adds nothing. One call is one message, never mixed with another client's.
VELKARIS_API int velkaris_write(velkaris_console* console, const char* text, size_t length);

// Replaces the text at the left of the status line.
VELKARIS_API int velkaris_set_status(velkaris_console* console, const char* text);

// Sets the overall percent. It is not drawn: the overall clock runs while it is not 0.
VELKARIS_API int velkaris_set_percent(velkaris_console* console, int32_t percent);

// Adds a progress item below everything that is there. If there is an item of that name already,
// the call succeeds and changes nothing.
VELKARIS_API int velkaris_add_item(velkaris_console* console, const char* name, const char* label,
                                   int32_t percent);

// Sets an item's percent. If there is no item of that name, the call succeeds and changes nothing.
VELKARIS_API int velkaris_update_item(velkaris_console* console, const char* name, int32_t percent);

// Adds the item, or sets its percent if it is there; the label of an item that is there stays.
VELKARIS_API int velkaris_put_item(velkaris_console* console, const char* name, const char* label,
                                   int32_t percent);

// The text for a number that one of these functions returned; never null, not to be freed.
VELKARIS_API const char* velkaris_error_text(int error);

// "MAJOR.MINOR.PATCH" of the library in use.
VELKARIS_API const char* velkaris_version(void);

#ifdef __cplusplus
}
#endif
