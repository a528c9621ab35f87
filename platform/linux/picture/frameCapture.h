// Keeps what the console shows: every presented frame as frame-NNNNNN.png in a folder, and
// latest.png, a symbolic link to the newest. A file appears under its name complete or not at all.
// Nothing here ever ends or fails the drawing; trouble is one line on standard error.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "codec/imageCodec.h"
#include "picture/picture.h"

class FrameCapture {
public:
    // Loads what writes the files; prints the failure.
    explicit FrameCapture(std::string folder);

    // Counts a frame and writes the newest of `picture`. False after a failure, which was printed
    // if it was the first.
    bool write(const Picture& picture);

private:
    void takeChangedRows(const Picture& picture);
    bool writePicture(const std::string& path, const PixelSize& size);
    bool publish(const std::string& temporary, const std::string& name);
    bool linkLatest(const std::string& name);
    bool fail(const std::string& path, const char* reason);

    std::string folder_;
    std::string temporarySuffix_;  // tells consoles apart that share a folder
    const ImageCodec* png_;        // null: its module cannot be loaded
    std::vector<uint8_t> rgb_;     // the frame that was written last, three bytes a pixel
    uint32_t takenFrame_ = 0;      // its number
    uint32_t frameCount_ = 0;
    bool failureReported_ = false;
};

// The capture that the layer's settings ask for; null when they ask for none, and after one line in
// a build that cannot write PNG. Read once.
FrameCapture* configuredCapture();
