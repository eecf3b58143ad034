#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace vantry {

/// What stands before the text of a field as the hub writes it: the key in quotes, a colon, a space
/// and the first quote of the text.
template <const std::string_view& kKey>
class FieldStart {
public:
    static constexpr std::string_view View() { return {kText.data(), kText.size()}; }

private:
    static constexpr std::string_view kBetween = "\": \"";
    static constexpr auto kText = [] {
        std::array<char, kKey.size() + kBetween.size() + 1> text{'"'};
        std::copy(kBetween.begin(), kBetween.end(),
                  std::copy(kKey.begin(), kKey.end(), text.begin() + 1));
        return text;
    }();
};

}  // namespace vantry
