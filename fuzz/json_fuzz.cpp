// What the reader takes, the writer writes; what it has built can be copied and taken apart; and a
// tree whose texts are escaped reads back as it was once it is written.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "wire/json/json_escapes.h"
#include "wire/json/json_reader.h"
#include "wire/json/json_writer.h"

namespace {

/// A copy whose texts and keys are escaped, so that it can be written and read again. Recurses, so
/// a tree that is too deep is cut off.
vantry::JsonValue Escaped(const vantry::JsonValue& value, int levels = 500) {
    vantry::JsonValue copy = value.array.empty() && value.object.empty() ? value : "";
    copy.type = value.type;
    if (value.type == vantry::JsonType::String) {
        copy.string = vantry::EscapeJsonText(value.string);
    }
    if (levels > 0) {
        for (const vantry::JsonValue& element : value.array) {
            copy.array.emplace_back(Escaped(element, levels - 1));
        }
        for (const vantry::JsonMember& member : value.object) {
            copy.object.insert(vantry::EscapeJsonText(member.key),
                               Escaped(member.value, levels - 1));
        }
    }
    return copy;
}

std::string Written(const vantry::JsonValue& value) {
    std::string text;
    vantry::WriteJsonValue(text, value);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const vantry::JsonValue value =
        vantry::ParseJsonString({reinterpret_cast<const char*>(data), size});
    const vantry::JsonValue copy = value;
    if (Written(copy) != Written(value)) {
        std::abort();
    }
    // A number is written with eight digits behind its point, so the second round counts.
    const std::string first = Written(Escaped(value));
    const std::string second = Written(Escaped(vantry::ParseJsonString(first)));
    if (first != second && first.find("inf") == std::string::npos) {
        std::abort();
    }
    return 0;
}
