// What the sample module offers.
#pragma once

struct Sample {
    // Counts in *count how often the event loop finds `fd` ready.
    bool (*watch)(int fd, int* count);
    void (*forget)(int fd);
    void (*say)(const char* text);
};

extern const Sample kSample;
