// Reads without a tree.
//
// Most messages ask for one property or a few, and come from programs that write them alike: one
// section, whose entries have the component and the GUID in this order, with nothing but spaces
// between the tokens. Such a text is taken apart by one pass, which costs a tenth of a tree. Any
// doubt is left to the parser: escapes, zero bytes, other sections and fields, and more entries
// than fit. So this accepts only texts that the parser would accept too, with the same entries.

#include "wire/plain_reads.h"

#include "wire/plain_tokens.h"
#include "wire/section_keys.h"

namespace vantry {
namespace {

/// A longer text is no request for a few properties.
constexpr std::size_t kLongest = 2'048;

bool TakeEntry(PlainTokens& tokens, WantedProperty& entry) {
    std::string_view guid;
    if (!tokens.TakeField<Field::kComponent>('{', entry.component) ||
        !tokens.TakeField<Field::kGuid>(',', guid) || !tokens.Take('}')) {
        return false;
    }
    entry.guids = SplitCompositeGuid(guid);
    return true;
}

}  // namespace

PlainReads::PlainReads(std::string_view text) {
    PlainTokens tokens(text);
    if (text.size() > kLongest || !tokens.Take('{') || !tokens.TakeKey(Section::kGetRequests) ||
        !tokens.Take('[') || !HasOnlyPlainStrings(text)) {
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
