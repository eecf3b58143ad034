#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/result.h"

namespace vantry::gateway {

/// What the holder of a token may do.
enum class Right { Nothing, Read, Write };

/// The tokens of a token file.
class Tokens {
public:
    /// Reads a file. Each line is a token of at least 16 printable characters without blanks, which
    /// grants everything, or a token, a blank and the word "read", which grants no writes. Blank
    /// lines and lines that begin with "#" are skipped. Returns Refused if the file can't be read,
    /// other users may read it, it holds no token, or a line is wrong; the line is named, not
    /// shown. Blocks.
    static client::Result<Tokens> Load(const std::string& path);

    /// Without tokens everybody has every right.
    bool AreNeeded() const { return !all.empty(); }
    /// Returns the right that the header Authorization proves with "Bearer TOKEN". The time that
    /// this takes doesn't depend on how much of a token is right.
    Right RightOf(std::string_view authorization) const;

private:
    struct Token {
        std::string text;
        Right right;
    };
    std::vector<Token> all;
};

}  // namespace vantry::gateway
