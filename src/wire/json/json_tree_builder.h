#pragma once

#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <string>
#include <string_view>
#include <vector>

#include "wire/json/json_scanner.h"
#include "wire/json/json_value.h"

namespace vantry {

/// Puts a tree together from values in the order of their text: the children of a container are
/// added before it is closed, and the container then counts as a value of its own.
///
/// Texts are only referred to until their container is closed, so what they were cut from must
/// outlive the builder. A builder that is destroyed early destroys what was added.
class JsonTreeBuilder {
public:
    JsonTreeBuilder() { entries.reserve(kUsualEntries); }
    JsonTreeBuilder(const JsonTreeBuilder&) = delete;
    JsonTreeBuilder& operator=(const JsonTreeBuilder&) = delete;
    ~JsonTreeBuilder();

    /// What is to be remembered of a container while its children are added.
    struct Mark {
        std::size_t firstChild = 0;
        std::string_view key;
    };

    Mark Open() const { return {entries.size(), key}; }
    /// Sets the key of the value that is added next.
    void AddKey(const JsonRawText& text);
    void Add(const JsonRawText& text);
    void Add(std::int64_t number) { Append(JsonType::Integer).integer = number; }
    void Add(double number) { Append(JsonType::Float).real = number; }
    void Add(bool truth) { Append(JsonType::Bool).boolean = truth; }
    void AddNull() { Append(JsonType::Null); }
    /// Makes an array of all that was added since its Open.
    void CloseArray(const Mark& mark);
    /// Makes an object of all that was added since its Open, each with a key: puts the members into
    /// the order of their keys, and drops all but the first of equal keys.
    void CloseObject(const Mark& mark);
    /// Returns the one value that is left when everything is closed.
    JsonValue TakeRoot();

private:
    /// A value that has no container yet. A block in it is owned by the builder.
    struct Entry {
        std::string_view key;
        union {
            const char* text;
            std::int64_t integer;
            double real;
            JsonBlock* block;
        };
        std::size_t textLength;
        JsonType type;
        bool boolean;
        bool hasEscapes;

        std::string_view Text() const {
            return type == JsonType::String ? std::string_view(text, textLength)
                                            : std::string_view();
        }
    };
    class TextPlace;

    static constexpr std::size_t kUsualEntries = 32;

    Entry& Append(JsonType type);
    template <typename Element>
    void Close(const Mark& mark, JsonType type);
    void SortMembers(std::size_t firstChild);
    static void Fill(JsonValue& value, const Entry& entry, TextPlace& place);
    static void DestroyChildren(const Entry& entry);

    std::vector<Entry> entries;
    std::string_view key;
    /// Keys with escapes, which must be undone before keys are compared.
    std::forward_list<std::string> unescapedKeys;
};

}  // namespace vantry
