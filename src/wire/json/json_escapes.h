#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantry {

/// The text with everything escaped that must not stand raw inside a double-quoted string: the
/// one step for free text on its way into a document, since the writer itself escapes nothing.
std::string EscapeJsonText(std::string_view text);

/// Returns how many bytes the escape at `from`, a backslash, takes; 0 if it is none or doesn't end
/// before `end`.
std::size_t EscapeLength(const char* from, const char* end);

/// Undoes the escapes of a text that holds only good ones. The result ends at the first zero byte
/// that an escape puts into it.
std::string UnescapeJsonString(std::string_view text);
/// Does the same to memory of the text's size, which mustn't overlap it. Returns how many bytes of
/// it are the result.
std::size_t UnescapeTo(char* memory, std::string_view text);

/// Writes the UTF-8 form of a 16-bit code unit, of up to three bytes, and returns what is behind
/// it. Surrogates are not paired: each has three bytes.
char* AppendUtf8CodePoint(char* to, std::uint32_t unit);

}  // namespace vantry
