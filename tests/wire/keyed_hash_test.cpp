#include "wire/key/keyed_hash.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(KeyedHash, IsTheValueOfThePolynomial) {
    // The answers were calculated with long numbers.
    const KeyedHash hash(0x123456789ABCDEF, 0xFEDCBA987654321);
    const struct {
        const char* text;
        std::uint64_t hash;
    } cases[] = {{"", 0x0},
                 {"a", 0x2C72591F40538F00},
                 {"1234567890123456789012345678", 0x7F75B5C5698E82E8},
                 {"B80EB2EA-4F49-423A-875C-8ACB1ACB9734:G:P", 0x59E2AFAD1992BF0C}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(hash(text), expected) << text;
    }
    EXPECT_NE(KeyedHash(1, 2)("a"), KeyedHash(1, 4)("a"));
    EXPECT_NE(KeyedHash(1, 2)("a"), KeyedHash(3, 2)("a"));
}

}  // namespace
}  // namespace vantry
