#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace vantry {

/// The hash of a text, which nobody can predict who doesn't know the secret. So peers can't choose
/// keys that have equal hashes. Any thread may use it.
///
/// The text is a polynomial, whose value at a secret place modulo a prime is multiplied by a secret
/// number. Two texts of n bytes that were chosen without the secrets have the same value with a
/// probability of (n + 20) / 2^63, and otherwise the same highest k bits of their hashes with one
/// of 2 / 2^k.
class KeyedHash {
public:
    /// Both numbers are secret and random; all of their bits may be used.
    KeyedHash(std::uint64_t place, std::uint64_t factor);

    std::uint64_t operator()(std::string_view text) const;

private:
    /// The secret place, and its second to fourth power.
    std::array<std::uint64_t, 4> powers;
    std::uint64_t secretFactor;
};

}  // namespace vantry
