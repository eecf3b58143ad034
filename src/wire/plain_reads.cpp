// Reads without a tree.
//
// Most messages ask for one property or a few, and come from programs that write them alike: one
// section, whose entries have the component and the GUID in this order, with nothing but spaces
// between the tokens. Such a text is taken apart by one pass, which costs a tenth of a tree. Any
// doubt is left to the parser: escapes, zero bytes, other sections and fields, and more entries
// than fit. So this accepts only texts that the parser would accept too, with the same entries.

#include "wire/plain_reads.h"

#include "wire/section_keys.h"

namespace vantry {
namespace {

/// A longer text is no request for a few properties.
constexpr std::size_t kLongest = 2'048;

/// Takes the tokens of a text one after the other. Once an operation has returned false, the
/// results of later ones mean nothing.
class Tokens {
public:
    explicit Tokens(std::string_view text) : rest(text) {}

    /// Takes one byte, after any spaces. Returns whether it was there.
    bool Take(char single) {
        SkipSpaces();
        if (rest.empty() || rest.front() != single) {
            return false;
        }
        rest.remove_prefix(1);
        return true;
    }
    /// Takes a string in double quotes and stores what is between them.
    bool TakeString(std::string_view& content) {
        if (!Take('"')) {
            return false;
        }
        const std::size_t length = rest.find('"');
        if (length == std::string_view::npos) {
            return false;
        }
        content = rest.substr(0, length);
        rest.remove_prefix(length + 1);
        return true;
    }
    /// Takes a key and the colon after it.
    bool TakeKey(std::string_view key) {
        std::string_view content;
        return TakeString(content) && content == key && Take(':');
    }
    bool AtEnd() {
        SkipSpaces();
        return rest.empty();
    }

private:
    void SkipSpaces() {
        while (!rest.empty() && rest.front() == ' ') {
            rest.remove_prefix(1);
        }
    }

    std::string_view rest;
};

bool TakeEntry(Tokens& tokens, WantedProperty& entry) {
    std::string_view guid;
    if (!tokens.Take('{') || !tokens.TakeKey(Field::kComponent) ||
        !tokens.TakeString(entry.component) || !tokens.Take(',') || !tokens.TakeKey(Field::kGuid) ||
        !tokens.TakeString(guid) || !tokens.Take('}')) {
        return false;
    }
    entry.guids = SplitCompositeGuid(guid);
    return true;
}

}  // namespace

PlainReads::PlainReads(std::string_view text) {
    // A backslash begins an escape, and a zero byte ends the text for the parser.
    if (text.size() > kLongest || text.find('\\') != std::string_view::npos ||
        text.find('\0') != std::string_view::npos) {
        return;
    }
    Tokens tokens(text);
    if (!tokens.Take('{') || !tokens.TakeKey(Section::kGetRequests) || !tokens.Take('[')) {
        return;
    }
    std::size_t found = 0;
    do {
        if (found == kMostEntries || !TakeEntry(tokens, entries[found])) {
            return;
        }
        ++found;
    } while (tokens.Take(','));
    if (tokens.Take(']') && tokens.Take('}') && tokens.AtEnd()) {
        count = found;
    }
}

}  // namespace vantry
