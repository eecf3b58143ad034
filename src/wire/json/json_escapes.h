#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantry {

/// Returns the text with everything escaped that a double-quoted string can't contain unescaped.
/// Every free text must be escaped before it is put into a document, since the writer escapes
/// nothing.
std::string EscapeJsonText(std::string_view text);

/// Returns the size of what EscapeJsonText returns.
std::size_t EscapedLength(std::string_view text);

/// Returns the number of bytes of the escape at `from`, which must be a backslash, or 0 if it isn't
/// a good escape that ends before `end`.
std::size_t EscapeLength(const char* from, const char* end);

/// Returns the text with its escapes replaced by the characters that they denote. Requires that all
/// escapes are good. The result ends before the first zero byte that an escape denotes.
std::string UnescapeJsonString(std::string_view text);

/// The result of UnescapeTo.
struct Unescaping {
    /// The place of the double quote or of the bad escape, or the end.
    const char* stop;
    /// The number of bytes that were written.
    std::size_t length;
    /// Whether an escape denoted a zero byte.
    bool hasZero;
};
/// How much more memory than the text UnescapeTo needs.
inline constexpr std::size_t kUnescapeSlack = 16;
/// Writes the text from `from` up to the first double quote that isn't escaped, the first bad
/// escape or `end`, with its escapes replaced by the characters that they denote. The result ends
/// before the first zero byte that an escape denotes. `memory` must not overlap the text.
[[nodiscard]] Unescaping UnescapeTo(char* memory, const char* from, const char* end);

/// Writes a 16-bit code unit as up to three bytes of UTF-8, and returns the place after them.
/// Surrogates are not combined: each becomes three bytes.
char* AppendUtf8CodePoint(char* to, std::uint32_t unit);

}  // namespace vantry
