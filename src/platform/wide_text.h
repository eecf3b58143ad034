#pragma once

#include <string>
#include <string_view>

namespace vantry {

/// Returns the low bytes of the 16-bit characters, which is how the hub shows a file name.
std::string NarrowText(std::u16string_view wide);

/// Returns the text as UTF-8. An unpaired surrogate is encoded by itself, in three bytes.
std::string Utf8Text(std::u16string_view wide);

}  // namespace vantry
