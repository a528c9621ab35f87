// Cuts a stream of bytes into pieces that can be written as one message each without changing
// which lines the console makes of them: at newlines, and only where a line is longer than a piece
// may be, between two of its characters.
#pragma once

#include <string>
#include <string_view>
#include <utility>

class StreamLines {
public:
    // The longest piece, and so the most that is ever held back, in bytes.
    static constexpr size_t kPieceBytes = 65536;

    // Room for the next bytes of the stream, never empty after take(); append() what came.
    size_t room() const { return kPieceBytes - held_.size(); }
    void append(std::string_view bytes) { held_.append(bytes); }

    // The complete lines that have come so far; empty if there is none yet.
    std::string take();

    // What is left, at the end of the stream.
    std::string takeRest() { return std::exchange(held_, {}); }

private:
    std::string held_;
};
