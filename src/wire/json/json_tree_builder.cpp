// Values are kept on one stack, without memory of their own, until their container is closed. Then
// their number and the length of their texts are known, and the container gets one block of exactly
// the necessary size: one allocation for the elements, their keys and their strings.
//
// The texts of a container are usually close together in the scanned text, with only quotes and
// commas between them. The range from the first text to the last is then copied as a whole, and
// each text refers to its part of the copy. If there is too much between them, as when a child has
// long texts, each text is copied by itself; otherwise the innermost texts of a deep tree would be
// copied once for each level.

#include "wire/json/json_tree_builder.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vantry {

/// Assigns the bytes after the elements of a block to texts.
class JsonTreeBuilder::TextPlace {
public:
    TextPlace() = default;
    /// Computes the size of the texts of all entries, and of their keys if they will be members.
    TextPlace(const Entry* from, const Entry* end, bool areMembers) {
        bool together = true;
        const char* first = nullptr;
        const char* last = nullptr;
        const auto add = [&](std::string_view text) {
            if (!text.empty()) {
                const char* const behind = text.data() + text.size();
                first = size == 0 ? text.data() : std::min(first, text.data());
                last = size == 0 ? behind : std::max(last, behind);
                size += text.size();
            }
        };
        for (; from != end; ++from) {
            if (areMembers) {
                add(from->key);
            }
            add(from->Text());
            together = together && !from->isApart;
        }
        // Twice is plenty for the texts of a protocol, and keeps memory in proportion.
        if (together && static_cast<std::size_t>(last - first) <= 2 * size) {
            source = first;
            size = static_cast<std::size_t>(last - first);
        }
    }

    std::size_t Size() const { return size; }
    void SetTarget(char* memory) {
        target = memory;
        if (source != nullptr) {
            std::memcpy(target, source, size);
        }
    }
    /// Returns the place of the bytes of the text in the block.
    char* Place(std::string_view text) {
        if (text.empty()) {
            return target;
        }
        if (source != nullptr) {
            return target + (text.data() - source);
        }
        char* const place = target;
        target = std::copy(text.begin(), text.end(), place);
        return place;
    }

private:
    std::size_t size = 0;
    /// The start of the range that was copied as a whole, or null.
    const char* source = nullptr;
    char* target = nullptr;
};

JsonTreeBuilder::~JsonTreeBuilder() {
    std::for_each(entries.begin(), entries.end(), DestroyChildren);
}

JsonTreeBuilder::Entry& JsonTreeBuilder::Append(JsonType type) {
    Entry& entry = entries.emplace_back();
    entry.key = key;
    entry.isApart = keyIsApart;
    entry.type = type;
    return entry;
}

void JsonTreeBuilder::Add(const JsonScannedText& text) {
    Entry& entry = Append(JsonType::String);
    entry.text = text.text.data();
    entry.textLength = text.text.size();
    entry.isApart = entry.isApart || text.isApart;
}

void JsonTreeBuilder::CloseArray(const Mark& mark) { Close<JsonValue>(mark, JsonType::Array); }

void JsonTreeBuilder::CloseObject(const Mark& mark) {
    SortMembers(mark.firstChild);
    Close<JsonMember>(mark, JsonType::Object);
}

void JsonTreeBuilder::SortMembers(std::size_t firstChild) {
    const auto first = entries.begin() + static_cast<std::ptrdiff_t>(firstChild);
    const auto isOutOfOrder = [](const Entry& one, const Entry& next) {
        return one.key >= next.key;
    };
    if (std::adjacent_find(first, entries.end(), isOutOfOrder) == entries.end()) {
        return;
    }
    std::stable_sort(first, entries.end(),
                     [](const Entry& one, const Entry& other) { return one.key < other.key; });
    auto kept = first;
    for (auto next = first + 1; next != entries.end(); ++next) {
        if (next->key == kept->key) {
            DestroyChildren(*next);
        } else {
            *++kept = *next;
        }
    }
    entries.erase(kept + 1, entries.end());
}

template <typename Element>
void JsonTreeBuilder::Close(const Mark& mark, JsonType type) {
    JsonBlock* block = nullptr;
    if (const std::size_t count = entries.size() - mark.firstChild; count != 0) {
        const Entry* const first = entries.data() + mark.firstChild;
        constexpr bool kAreMembers = std::is_same_v<Element, JsonMember>;
        TextPlace place(first, first + count, kAreMembers);
        block = JsonBlock::Make<Element>(count, place.Size());
        auto* element = block->template Elements<Element>();
        place.SetTarget(reinterpret_cast<char*>(element + count));
        for (const Entry* entry = first; entry != first + count; ++entry, ++element) {
            if constexpr (kAreMembers) {
                auto* const member = new (element) JsonMember;
                member->key.Borrow(place.Place(entry->key), entry->key.size());
                Fill(member->value, *entry, place);
            } else {
                Fill(*new (element) JsonValue, *entry, place);
            }
        }
        block->size = static_cast<std::uint32_t>(count);
        entries.resize(mark.firstChild);
    }
    key = mark.key;
    keyIsApart = mark.keyIsApart;
    Append(type).block = block;
}

void JsonTreeBuilder::DestroyChildren(const Entry& entry) {
    const bool isContainer = entry.type == JsonType::Object || entry.type == JsonType::Array;
    if (isContainer && entry.block != nullptr) {
        JsonBlock::Destroy(entry.block);
    }
}

JsonValue JsonTreeBuilder::TakeRoot() {
    const Entry root = entries.back();
    entries.clear();
    JsonValue value;
    if (root.type != JsonType::String) {
        TextPlace none;
        Fill(value, root, none);
    } else {
        value = JsonValue(root.Text());
    }
    return value;
}

void JsonTreeBuilder::Fill(JsonValue& value, const Entry& entry, TextPlace& place) {
    value.type = entry.type;
    switch (entry.type) {
        case JsonType::String: {
            value.string.Borrow(place.Place(entry.Text()), entry.textLength);
            break;
        }
        case JsonType::Object:
            value.object.members.block = entry.block;
            break;
        case JsonType::Array:
            value.array.block = entry.block;
            break;
        case JsonType::Float:
            value.real = entry.real;
            break;
        case JsonType::Bool:
            value.boolean = entry.boolean;
            break;
        case JsonType::Integer:
        case JsonType::Null:
            value.integer = entry.integer;
            break;
    }
}

}  // namespace vantry
