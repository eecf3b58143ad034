#pragma once

#include <string>
#include <string_view>

namespace vantry {

/// The text with the low byte of each 16-bit character, which is how the hub shows a file name.
std::string NarrowText(std::u16string_view wide);

/// The text as UTF-8. An unpaired surrogate becomes three bytes of its own.
std::string Utf8Text(std::u16string_view wide);

}  // namespace vantry
