// The target of a request, taken apart before it is decoded, so that an escaped slash stays part of
// its segment. Control characters, segments that lead upward and parameters that occur twice are
// refused as a whole instead of being repaired: what remains can be compared byte by byte.

#include "gateway/target.h"

#include <charconv>
#include <utility>

namespace vantry::gateway {
namespace {

bool IsControl(char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f; }

/// Returns the text with its escapes resolved, or nothing if one is wrong.
std::optional<std::string> Decoded(std::string_view text, bool plusIsBlank) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char byte = text[at];
        if (byte == '%') {
            unsigned char number = 0;
            const std::string_view digits = text.substr(at + 1, 2);
            const auto end =
                std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
            if (digits.size() != 2 || end.ptr != digits.data() + 2) {
                return std::nullopt;
            }
            byte = static_cast<char>(number);
            at += 2;
        } else if (byte == '+' && plusIsBlank) {
            byte = ' ';
        }
        if (IsControl(byte)) {
            return std::nullopt;
        }
        decoded += byte;
    }
    return decoded;
}

/// Removes and returns what stands before the first `separator`, which is removed too.
std::string_view CutAt(std::string_view& text, char separator) {
    const std::size_t at = text.find(separator);
    const std::string_view part = text.substr(0, at);
    text = at == std::string_view::npos ? "" : text.substr(at + 1);
    return part;
}

bool ReadPath(std::string_view path, std::vector<std::string>& segments) {
    if (path.empty() || path.front() != '/') {
        return false;
    }
    path.remove_prefix(1);
    for (bool more = !path.empty(); more;) {
        more = path.find('/') != std::string_view::npos;
        std::optional<std::string> segment = Decoded(CutAt(path, '/'), false);
        if (!segment || *segment == "." || *segment == "..") {
            return false;
        }
        segments.push_back(std::move(*segment));
    }
    return true;
}

bool ReadQuery(std::string_view text, std::map<std::string, std::string>& query) {
    while (!text.empty()) {
        std::string_view value = CutAt(text, '&');
        const std::optional<std::string> name = Decoded(CutAt(value, '='), true);
        std::optional<std::string> decoded = Decoded(value, true);
        if (!name || !decoded || !query.emplace(*name, std::move(*decoded)).second) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::optional<Target> ParseTarget(std::string_view text) {
    Target target;
    const std::string_view path = CutAt(text, '?');
    if (!ReadPath(path, target.segments) || !ReadQuery(text, target.query)) {
        return std::nullopt;
    }
    return target;
}

}  // namespace vantry::gateway
