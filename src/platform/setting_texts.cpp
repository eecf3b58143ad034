#include "platform/setting_texts.h"

#include <arpa/inet.h>

#include <charconv>

namespace vantry {

std::optional<Saves> SavesFrom(std::string_view text) {
    if (text == "in-place") {
        return Saves::InPlace;
    }
    return text == "replace" ? std::optional(Saves::Replace) : std::nullopt;
}

std::optional<ExternalReports> ExternalReportsFrom(std::string_view text) {
    if (text == "any") {
        return ExternalReports::Any;
    }
    if (text == "own") {
        return ExternalReports::Own;
    }
    return text == "none" ? std::optional(ExternalReports::None) : std::nullopt;
}

std::optional<std::uint16_t> PortFrom(std::string_view text) {
    std::uint16_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = result.ec == std::errc{} && result.ptr == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

std::optional<std::uint32_t> AddressFrom(const std::string& text) {
    in_addr address{};
    const bool good = inet_pton(AF_INET, text.c_str(), &address) == 1;
    return good ? std::optional(ntohl(address.s_addr)) : std::nullopt;
}

}  // namespace vantry
