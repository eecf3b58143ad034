#pragma once

#include <cstddef>
#include <random>
#include <string>

namespace vantry {

/// Returns `input` after one to four random changes: bytes inserted, removed, doubled or replaced.
inline std::string Mutated(std::string input, std::mt19937& random) {
    const auto below = [&](std::size_t limit) { return limit == 0 ? 0 : random() % limit; };
    for (std::size_t change = below(4) + 1; change > 0; --change) {
        const std::size_t place = below(input.size());
        switch (random() % 4) {
            case 0:
                input.insert(place, 1, static_cast<char>(random()));
                break;
            case 1:
                input.erase(place, below(8));
                break;
            case 2:
                input.insert(place, input.substr(below(input.size()), below(64)));
                break;
            default:
                if (!input.empty()) {
                    input[place] = static_cast<char>(random());
                }
        }
    }
    return input;
}

}  // namespace vantry
