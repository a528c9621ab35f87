// What the fuzz targets put behind the service's code in place of a platform: a drawing area and
// glyph advances, no display. The model is emptied between inputs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct ConsoleNode;

// Hands out an input piece by piece; past its end come zeroes.
class InputReader {
public:
    InputReader(const uint8_t* data, size_t size) : data_(data), left_(size) {}

    uint8_t byte();
    uint32_t number();   // four bytes
    std::string rest();  // all that is left
    size_t left() const { return left_; }

private:
    const uint8_t* data_;
    size_t left_;
};

// Sets the area's width, and for every code an advance and a shape of one pixel.
void setUpArea(uint32_t width, uint8_t advanceSeed);

// Gives back all that the console shows.
void emptyModel();

// Texts of the entries, in order of arrival.
std::vector<std::string> listTexts(const ConsoleNode* list);

// Stops the run as a fault: a property does not hold.
void require(bool holds, const char* property);
