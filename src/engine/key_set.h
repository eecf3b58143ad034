#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace vantry {

/// The hash of a key, by which a container finds it as any kind of text.
struct KeyHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const {
        return std::hash<std::string_view>()(key);
    }
};

/// A set of keys, which are found without being copied. Only for keys that peers from outside don't
/// choose: they could make thousands with equal hashes, and each look-up would compare all of them.
using KeySet = std::unordered_set<std::string, KeyHash, std::equal_to<>>;

}  // namespace vantry
