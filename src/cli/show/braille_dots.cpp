#include "cli/show/braille_dots.h"

#include <algorithm>

namespace vantry::cli {

void BrailleDots::Fill(std::size_t column, std::size_t from, std::size_t to) {
    constexpr unsigned kBits[2][4] = {{0x01, 0x02, 0x04, 0x40}, {0x08, 0x10, 0x20, 0x80}};
    for (std::size_t dot = std::min(from, to); dot <= std::max(from, to); ++dot) {
        cells[dot / 4][column / 2] |= kBits[column % 2][dot % 4];
    }
}

std::string BrailleDots::Row(std::size_t row) const {
    std::string text;
    for (const unsigned bits : cells[row]) {
        // U+2800 and the bits, in UTF-8.
        text += bits == 0 ? std::string(" ")
                          : std::string{'\xE2', static_cast<char>(0xA0 | (bits >> 6U)),
                                        static_cast<char>(0x80 | (bits & 0x3FU))};
    }
    return text;
}

}  // namespace vantry::cli
