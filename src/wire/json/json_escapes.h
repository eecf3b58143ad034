#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantry {

/// The text with everything escaped that must not stand raw inside a double-quoted string: the
/// one step for free text on its way into a document, since the writer itself escapes nothing.
std::string EscapeJsonText(std::string_view text);

/// How many bytes the escape at `from`, a backslash, takes up to `end`; 0 if it is none.
std::size_t EscapeLength(const char* from, const char* end);

/// Undoes the escapes of a text that holds only good ones. The result ends at the first zero byte
/// that an escape puts into it.
std::string UnescapeJsonString(std::string_view text);

/// Appends the UTF-8 form of a 16-bit code unit. Surrogates are not paired: each has three bytes.
void AppendUtf8CodePoint(std::string& text, std::uint32_t unit);

}  // namespace vantry
