#include "store/format/check_value.h"

#include <array>
#include <cstddef>

namespace vantry {
namespace {

/// The polynomial 0x8005 with its bits reversed.
constexpr std::uint16_t kPolynomial = 0xA001;

constexpr std::array<std::uint16_t, 256> MakeTable() {
    std::array<std::uint16_t, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        auto crc = static_cast<std::uint16_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = static_cast<std::uint16_t>((crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0));
        }
        table[byte] = crc;
    }
    return table;
}

constexpr std::array<std::uint16_t, 256> kTable = MakeTable();

}  // namespace

std::uint16_t CheckValue(std::string_view bytes) {
    std::uint16_t crc = 0;
    for (const char byte : bytes) {
        crc = static_cast<std::uint16_t>((crc >> 8) ^
                                         kTable[(crc ^ static_cast<unsigned char>(byte)) & 0xFF]);
    }
    return static_cast<std::uint16_t>(~crc);
}

}  // namespace vantry
