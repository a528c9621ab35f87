// A folder of the test's own, gone with everything in it at the end of the test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "velkarisXXXXXX").string();
        if (!mkdtemp(name.data()))
            throw std::runtime_error("no temporary folder: " + name);
        folder = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }
    std::string file(const std::string& name) const { return (folder / name).string(); }

private:
    std::filesystem::path folder;
};
