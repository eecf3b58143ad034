#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include "wire/json/first_block.h"
#include "wire/json/json_scanner.h"
#include "wire/json/json_value.h"

namespace vantry {

/// Builds a tree from values in the order in which they occur in the text: the children of a
/// container are added, then the container is closed and becomes a value itself.
///
/// The builder refers to the texts of values until their container is closed, so the scanned text
/// must outlive it. It owns the values until TakeRoot. Used by one thread.
class JsonTreeBuilder {
public:
    JsonTreeBuilder() { entries.reserve(kUsualEntries); }
    JsonTreeBuilder(const JsonTreeBuilder&) = delete;
    JsonTreeBuilder& operator=(const JsonTreeBuilder&) = delete;
    ~JsonTreeBuilder();

    /// The state of an open container, which the caller keeps while its children are added.
    struct Mark {
        std::size_t firstChild = 0;
        std::string_view key;
        bool keyIsApart = false;
    };

    /// Begins a container.
    [[nodiscard]] Mark Open() const { return {entries.size(), key, keyIsApart}; }
    /// Sets the key of the value that is added next.
    void AddKey(const JsonScannedText& text) {
        key = text.text;
        keyIsApart = text.isApart;
    }
    void Add(const JsonScannedText& text);
    void Add(std::int64_t number) { Append(JsonType::Integer).integer = number; }
    void Add(double number) { Append(JsonType::Float).real = number; }
    void Add(bool truth) { Append(JsonType::Bool).boolean = truth; }
    void AddNull() { Append(JsonType::Null); }
    /// Ends a container as an array of the values that were added since its Open.
    void CloseArray(const Mark& mark);
    /// Ends a container as an object of the values that were added since its Open, each with a key.
    /// Sorts the members by their keys and drops all but the first of equal keys.
    void CloseObject(const Mark& mark);
    /// Returns the root of the tree. Requires that every container is closed and a value was added.
    [[nodiscard]] JsonValue TakeRoot();

private:
    /// A value whose container isn't closed yet. The builder owns its block, if it has one.
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
        /// Whether the key or the text isn't a part of the scanned text.
        bool isApart;

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

    /// The memory of the entries of a short text, which then needs none from the heap.
    FirstBlock<kUsualEntries * sizeof(Entry)> usual;
    std::pmr::vector<Entry> entries{&usual};
    std::string_view key;
    bool keyIsApart = false;
};

}  // namespace vantry
