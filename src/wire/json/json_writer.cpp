// The writer visits a tree with a list of the open containers instead of recursion, so the depth of
// a tree doesn't matter. The texts of messages are long arrays of similar records; when the first
// element of an array is written, the text reserves memory for the others.

#include "wire/json/json_writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <string_view>
#include <vector>

namespace vantry {
namespace {

constexpr int kFractionDigits = 8;
/// A double in fixed notation has up to 309 digits before the point.
constexpr std::size_t kLongestNumber = std::numeric_limits<double>::max_exponent10 + 32;

template <typename Number, typename... Format>
void AppendNumber(std::string& text, Number number, Format... format) {
    std::array<char, kLongestNumber> digits;
    const auto result =
        std::to_chars(digits.data(), digits.data() + digits.size(), number, format...);
    text.append(digits.data(), result.ptr);
}

void AppendQuoted(std::string& text, std::string_view content) {
    text += '"';
    text += content;
    text += '"';
}

/// Appends one tree to a text.
class Writer {
public:
    explicit Writer(std::string& target) : text(target) {}

    void Write(const JsonValue& root) {
        Begin(root);
        Run();
    }

    void WriteObject(const JsonObject& root) {
        text += '{';
        open.push_back({&root, nullptr, 0, text.size()});
        Run();
    }

private:
    struct Container {
        const JsonObject* object;
        const JsonArray* array;
        std::size_t next;
        /// The place in the text at which its elements begin.
        std::size_t start;

        std::size_t Size() const { return object != nullptr ? object->size() : array->size(); }
    };

    void Run() {
        while (!open.empty()) {
            Container& container = open.back();
            if (container.next == container.Size()) {
                text += container.object != nullptr ? '}' : ']';
                open.pop_back();
                continue;
            }
            if (container.next != 0) {
                text += ',';
            }
            const std::size_t place = container.next++;
            if (container.object == nullptr) {
                if (place == 1) {
                    ReserveForArray(container);
                }
                Begin((*container.array)[place]);
                continue;
            }
            const JsonMember& member = container.object->begin()[place];
            AppendQuoted(text, member.key);
            text += ": ";
            Begin(member.value);
        }
    }

    /// Reserves memory on the assumption that all elements are as long as the first one.
    void ReserveForArray(const Container& array) {
        constexpr std::size_t kMost = 4U << 20U;
        text.reserve(text.size() +
                     std::min(kMost, (text.size() - array.start) * (array.Size() - 1)));
    }

    /// Writes a scalar, or opens a container and writes its bracket.
    void Begin(const JsonValue& value) {
        switch (value.type) {
            case JsonType::Integer:
                AppendNumber(text, value.integer);
                break;
            case JsonType::Float:
                AppendNumber(text, value.real, std::chars_format::fixed, kFractionDigits);
                break;
            case JsonType::Bool:
                text += value.boolean ? "true" : "false";
                break;
            case JsonType::String:
                AppendQuoted(text, value.string);
                break;
            case JsonType::Object:
                text += '{';
                open.push_back({&value.object, nullptr, 0, text.size()});
                break;
            case JsonType::Array:
                text += '[';
                open.push_back({nullptr, &value.array, 0, text.size()});
                break;
            case JsonType::Null:
                text += "null";
                break;
        }
    }

    std::string& text;
    std::vector<Container> open;
};

}  // namespace

void WriteJsonValue(std::string& text, const JsonValue& value) { Writer(text).Write(value); }

void WriteJsonObject(std::string& text, const JsonObject& object) {
    Writer(text).WriteObject(object);
}

}  // namespace vantry
