// A file in memory that can be opened by its path.
#pragma once

#include <string>

class MemoryFile {
public:
    explicit MemoryFile(const std::string& content);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const char* path() const { return path_; }

private:
    int fd_;
    char path_[64];
};
