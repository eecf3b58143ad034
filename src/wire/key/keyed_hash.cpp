// The words of the polynomial have seven bytes, so that each is smaller than the prime: otherwise
// two words could be one modulo the prime, whatever the secret is. Four words are taken at a time,
// since their products don't wait for each other. Remainders are kept a little above the prime; a
// text has always the same one.

#include "wire/key/keyed_hash.h"

#include <algorithm>
#include <cstring>

namespace vantry {
namespace {

__extension__ using Wide = unsigned __int128;

constexpr unsigned kPrimeBits = 61;
constexpr std::uint64_t kPrime = (std::uint64_t{1} << kPrimeBits) - 1;
constexpr std::size_t kWordBytes = 7;
constexpr std::size_t kStepBytes = 4 * kWordBytes;
constexpr std::uint64_t kWord = (std::uint64_t{1} << (8 * kWordBytes)) - 1;

/// Returns a number below 2^61 + 8 with the same remainder.
std::uint64_t Reduce(Wide number) {
    const std::uint64_t once = (static_cast<std::uint64_t>(number) & kPrime) +
                               static_cast<std::uint64_t>(number >> kPrimeBits);
    return (once & kPrime) + (once >> kPrimeBits);
}

/// Returns seven bytes of eight that can be read.
std::uint64_t WordAt(const char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word & kWord;
}

}  // namespace

KeyedHash::KeyedHash(std::uint64_t place, std::uint64_t factor) : secretFactor(factor | 1U) {
    powers[0] = place & kPrime;
    for (std::size_t next = 1; next < powers.size(); ++next) {
        powers[next] = Reduce(Wide{powers[next - 1]} * powers[0]);
    }
}

std::uint64_t KeyedHash::operator()(std::string_view text) const {
    const auto step = [&](std::uint64_t value, const char* at) {
        return Reduce(Wide{value} * powers[3] + Wide{WordAt(at)} * powers[2] +
                      Wide{WordAt(at + kWordBytes)} * powers[1] +
                      Wide{WordAt(at + 2 * kWordBytes)} * powers[0] + WordAt(at + 3 * kWordBytes));
    };
    const char* at = text.data();
    std::size_t left = text.size();
    std::uint64_t value = text.size();
    for (; left > kStepBytes; left -= kStepBytes, at += kStepBytes) {
        value = step(value, at);
    }
    char rest[kStepBytes + 1] = {};
    std::copy_n(at, left, rest);
    return step(value, rest) * secretFactor;
}

}  // namespace vantry
