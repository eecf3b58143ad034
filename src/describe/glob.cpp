#include "describe/glob.h"

#include "describe/description.h"

namespace vantry::describe {
namespace {

char Lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool Fits(char wanted, char byte, LetterCase letters) {
    return wanted == byte || (letters == LetterCase::Ignored && Lower(wanted) == Lower(byte));
}

// Returns where the character ends that begins at this place of a text of UTF-8.
std::size_t CharacterEnd(std::string_view text, std::size_t at) {
    do {
        ++at;
    } while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80);
    return at;
}

}  // namespace

bool GlobMatches(std::string_view glob, std::string_view text, LetterCase letters) {
    std::size_t at = 0;
    std::size_t next = 0;
    // Only the last star can be extended usefully: what stands before it matches already.
    std::size_t star = std::string_view::npos;
    std::size_t resume = 0;
    while (next < text.size()) {
        if (at < glob.size() && glob[at] == '*') {
            star = at++;
            resume = next;
        } else if (at < glob.size() && glob[at] == '?') {
            ++at;
            next = CharacterEnd(text, next);
        } else if (at < glob.size() && Fits(glob[at], text[next], letters)) {
            ++at;
            ++next;
        } else if (star != std::string_view::npos) {
            at = star + 1;
            next = ++resume;
        } else {
            return false;
        }
    }
    return glob.find_first_not_of('*', at) == std::string_view::npos;
}

bool GlobNames(std::string_view glob, const client::Property& property, LetterCase letters) {
    const std::string inGroup = property.groupName + "/" + property.name;
    const client::PropertyId& id = property.id;
    return GlobMatches(glob, property.name, letters) || GlobMatches(glob, inGroup, letters) ||
           GlobMatches(glob, property.componentName + "/" + inGroup, letters) ||
           GlobMatches(glob, id.component + "/" + id.group + "/" + id.property, letters);
}

std::optional<GlobNumber> GlobNumberIn(const std::string& text) {
    const std::size_t equals = text.rfind('=');
    if (equals == std::string::npos) {
        return std::nullopt;
    }
    const std::optional<double> number = NumberIn(text.substr(equals + 1));
    return number && *number >= 0 ? std::optional(GlobNumber{text.substr(0, equals), *number})
                                  : std::nullopt;
}

}  // namespace vantry::describe
