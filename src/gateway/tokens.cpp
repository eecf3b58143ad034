// Tokens and what they permit. A given token is compared with all of them and over its whole
// length, so that the time of an answer doesn't show how much of a guess was right. A file that
// everybody may read is refused, since its tokens protect nothing.

#include "gateway/tokens.h"

#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>

namespace vantry::gateway {
namespace {

constexpr std::size_t kShortestToken = 16;

client::Error Refused(std::string text) { return {client::ErrorCode::Refused, std::move(text)}; }

bool IsToken(const std::string& text) {
    return text.size() >= kShortestToken &&
           std::all_of(text.begin(), text.end(), [](char byte) { return byte > 32 && byte < 127; });
}

bool AreEqual(std::string_view given, std::string_view token) {
    if (given.size() != token.size()) {
        return false;
    }
    unsigned difference = 0;
    for (std::size_t at = 0; at < token.size(); ++at) {
        difference |= static_cast<unsigned char>(given[at]) ^ static_cast<unsigned char>(token[at]);
    }
    return difference == 0;
}

}  // namespace

client::Result<Tokens> Tokens::Load(const std::string& path) {
    std::ifstream file(path);
    struct stat state {};
    if (!file || stat(path.c_str(), &state) != 0 || !S_ISREG(state.st_mode)) {
        return Refused("can't read the token file " + path);
    }
    if ((state.st_mode & S_IROTH) != 0) {
        return Refused("everybody may read the token file " + path + "; chmod o-r " + path);
    }
    Tokens tokens;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t blank = line.find(' ');
        const bool onlyReads = blank != std::string::npos && line.substr(blank) == " read";
        const std::string token = onlyReads ? line.substr(0, blank) : line;
        if (!IsToken(token)) {
            return Refused(path + ": line " + std::to_string(number) +
                           " is no token of at least 16 characters");
        }
        tokens.all.push_back({token, onlyReads ? Right::Read : Right::Write});
    }
    if (tokens.all.empty()) {
        return Refused("there is no token in " + path);
    }
    return tokens;
}

Right Tokens::RightOf(std::string_view authorization) const {
    if (all.empty()) {
        return Right::Write;
    }
    constexpr std::string_view kScheme = "Bearer ";
    if (authorization.size() < kScheme.size() ||
        strncasecmp(authorization.data(), kScheme.data(), kScheme.size()) != 0) {
        return Right::Nothing;
    }
    Right right = Right::Nothing;
    for (const Token& token : all) {
        if (AreEqual(authorization.substr(kScheme.size()), token.text)) {
            right = token.right;
        }
    }
    return right;
}

}  // namespace vantry::gateway
