// Font files that a test makes of its own.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

// A file that goes with the test. Named after the process, so that runs side by side do not meet.
class TestFile {
public:
    explicit TestFile(const std::string& contents)
        : path(::testing::TempDir() + "velkarisFont" + std::to_string(getpid())) {
        std::ofstream(path, std::ios::binary) << contents;
    }
    ~TestFile() { remove(path.c_str()); }

    const std::string path;
};

inline std::string contentsOf(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
