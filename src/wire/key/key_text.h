#pragma once

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace vantry {

/// A key for one look-up, made of parts with ":" between them. A key of usual length needs no
/// memory of its own. Used by one thread.
class KeyText {
public:
    KeyText(std::initializer_list<std::string_view> parts) {
        std::size_t length = parts.size() - 1;
        for (const std::string_view part : parts) {
            length += part.size();
        }
        char* place = usual.data();
        if (length > usual.size()) {
            unusual.resize(length);
            place = unusual.data();
        }
        view = {place, length};
        bool isFirst = true;
        for (const std::string_view part : parts) {
            if (!std::exchange(isFirst, false)) {
                *place++ = ':';
            }
            place = std::copy(part.begin(), part.end(), place);
        }
    }
    KeyText(const KeyText&) = delete;
    KeyText& operator=(const KeyText&) = delete;

    /// Returns the key, which lives as long as this object.
    std::string_view View() const { return view; }

private:
    std::array<char, 192> usual;
    std::string unusual;
    std::string_view view;
};

}  // namespace vantry
