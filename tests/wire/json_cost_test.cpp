#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>

#include "support/allocations.h"
#include "wire/json/json_reader.h"

namespace vantry {
namespace {

constexpr std::size_t kLongestText = 4U << 20U;
constexpr std::size_t kMostMemory = 256U << 20U;

/// Repeats the piece, with commas between, as often as the longest text allows.
std::string Filled(const std::string& opening, const std::string& piece,
                   const std::string& closing) {
    std::string text = opening;
    while (text.size() + piece.size() + closing.size() < kLongestText) {
        text += piece + ",";
    }
    text.back() = closing[0];
    return text + closing.substr(1);
}

/// Returns members with all four-character keys, in an order with distance `step`.
std::string Members(std::uint32_t first, std::uint32_t step) {
    std::string text = "{";
    std::uint32_t number = first;
    while (text.size() + 10 < kLongestText) {
        char member[16];
        std::snprintf(member, sizeof member, "\"%c%c%c%c\":1,", '0' + (number >> 15U) % 32U,
                      '`' + (number >> 10U) % 32U, '`' + (number >> 5U) % 32U, '`' + number % 32U);
        text += member;
        number += step;
    }
    text.back() = '}';
    return text;
}

// If the cost grows with the square of the length, this test takes hours.
TEST(JsonCost, NoTextOfAFrameTakesMoreThanItsBoundOfMemory) {
    const std::string deep = std::string(500, '[') + std::string(500, ']');
    const struct {
        const char* name;
        std::string text;
        std::size_t children;
    } cases[] = {
        {"falling keys", Members(0xFFFFF, static_cast<std::uint32_t>(-1)), 466'033},
        {"rising keys", Members(0, 1), 466'033},
        {"scattered keys", Members(0, 7919), 466'033},
        {"equal keys", Filled("{", "\"a\":1", "}"), 1},
        {"dropped arrays", Filled("{", "'':[1,1,1]", "}"), 1},
        {"numbers", Filled("[", "1", "]"), 2'097'151},
        {"empty arrays", Filled("[", "[]", "]"), 1'398'100},
        {"empty objects", Filled("[", "{}", "]"), 1'398'100},
        {"empty texts", Filled("[", "''", "]"), 1'398'100},
        {"arrays of one", Filled("[", "[1]", "]"), 1'048'575},
        {"arrays of five", Filled("[", "[1,1,1,1,1]", "]"), 349'525},
        {"objects of one", Filled("[", "{'':1}", "]"), 599'186},
        {"nested arrays", Filled("[", deep, "]"), 4190},
        {"long texts", Filled("[", "'a text of twenty bytes'", "]"), 167'772},
        {"escapes", Filled("[", "\"\\n\"", "]"), 838'860},
        {"one long text of escapes", "[\"" + Filled("", "\\\"\\u00e9", "\\") + "\\\"]", 1},
    };
    for (const auto& [name, text, children] : cases) {
        const std::size_t before = AllocationsOfThisThread().bytes;
        ForgetMostBytes();
        {
            JsonValue value;
            EXPECT_EQ(ParseJson(text, value), "") << name;
            EXPECT_EQ(value.array.size() + value.object.size(), children) << name;
        }
        EXPECT_LT(AllocationsOfThisThread().mostBytes - before, kMostMemory) << name;
        EXPECT_EQ(AllocationsOfThisThread().bytes, before) << name;
    }
}

}  // namespace
}  // namespace vantry
