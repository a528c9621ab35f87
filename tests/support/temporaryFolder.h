// A folder of the test's own, gone with everything in it at the end of the test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

class TemporaryFolder {
public:
    TemporaryFolder() {
        path_ = (std::filesystem::temp_directory_path() / "velkaris-XXXXXX").string();
        if (!mkdtemp(path_.data()))
            throw std::runtime_error("no temporary folder: " + path_);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};
