// Drives a console through a small flashing session. Build it against an installed libvelkaris:
//     cc -std=c99 flashing.c $(pkg-config --cflags --libs velkaris) -o flashing
#include <stdio.h>
#include <string.h>
#include <velkaris/velkaris.h>

static int flash(velkaris_console* console) {
    const char line[] = "Writing the firmware image\n";
    int error = velkaris_set_status(console, "Flashing - do not switch off");
    if (error == 0)
        error = velkaris_write(console, line, strlen(line));
    for (int32_t percent = 0; percent <= 100 && error == 0; percent += 25) {
        // The overall percent keeps the clock of the status line running.
        error = velkaris_put_item(console, "firmware", "Firmware", percent);
        if (error == 0)
            error = velkaris_set_percent(console, percent);
    }
    return error == 0 ? velkaris_set_status(console, "Done") : error;
}

int main(int argc, char** argv) {
    velkaris_console* console = NULL;
    int error = velkaris_open(&console, argc > 1 ? argv[1] : NULL, VELKARIS_DEFAULT_TIME_LIMIT);
    if (error == 0)
        error = flash(console);
    velkaris_close(console);
    if (error != 0)
        fprintf(stderr, "flashing: %s\n", velkaris_error_text(error));
    return error == 0 ? 0 : 1;
}
