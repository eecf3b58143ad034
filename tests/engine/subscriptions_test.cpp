#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <set>

#include "engine/subscriber.h"
#include "support/loop_stream.h"
#include "wire/key/property_key.h"

namespace vantry {
namespace {

using namespace test;

/// Returns the block whose part of the standard library's hash differs from that of `block` in the
/// highest bit alone. Two such differences in turn cancel out.
std::uint64_t Twin(std::uint64_t block) {
    constexpr std::uint64_t kFactor = 0xC6A4A7935BD1E995;
    constexpr std::uint64_t kInverse = 0x5F7A0EA7E59B19BD;
    static_assert(kFactor * kInverse == 1);
    return (block * kFactor ^ (1ULL << 63U | 1ULL << 16U)) * kInverse;
}

// A list in which entries are found by their hashes would take a time that grows with the square of
// their number, with all publications waiting.
TEST(Subscriptions, KeysWithEqualHashesCostNoMoreThanOthers) {
    constexpr unsigned kPairs = 18;
    Subscriber subscriber(std::make_shared<LoopStream>("x"));
    std::set<std::size_t> hashes;
    for (std::uint32_t number = 0; number < 1U << kPairs; ++number) {
        std::array<std::uint64_t, std::size_t{2} * kPairs> blocks;
        for (unsigned pair = 0; pair < kPairs; ++pair) {
            const std::uint64_t block = number >> pair & 1U ? Twin(pair) : pair;
            blocks[2 * pair] = blocks[2 * pair + 1] = block;
        }
        const std::string_view guid(reinterpret_cast<const char*>(blocks.data()), sizeof blocks);
        static_cast<void>(subscriber.Add("c", "group", guid, true));
        hashes.insert(std::hash<std::string_view>()(FullKey("c", "group", guid)));
    }
    EXPECT_EQ(hashes.size(), 1U);
}

}  // namespace
}  // namespace vantry
