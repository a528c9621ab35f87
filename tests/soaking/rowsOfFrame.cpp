// rowsOfFrame WIDTH HEIGHT POINTS [FRAME]: the rows that a frame of that size shows, one a line,
// out of the texts on standard input; "?" for any other. Without a frame, how many rows there are.
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "e2e/rowReader.h"

namespace {

constexpr int kRowGap = 4;  // pixels between two rows

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4)
        return 2;
    ReferenceScreen screen;
    screen.width = std::stoi(argv[1]);
    screen.height = std::stoi(argv[2]);
    const ReferenceFont font = loadReferenceFont(VELKARIS_TEST_FONT, std::stoi(argv[3]));
    if (argc == 4) {
        std::printf("%d\n", screen.height / (font.lineHeight + kRowGap) - 1);
        return 0;
    }
    std::vector<std::string> candidates;
    for (std::string line; std::getline(std::cin, line);)
        candidates.push_back(line);
    for (const std::string& row : readRows(readPng(argv[4]), screen, font, candidates))
        std::printf("%s\n", row.c_str());
}
