// A tree consists of blocks: each array or object that isn't empty has one, which contains its
// elements and, if the reader made it, the bytes of their keys and strings. An element refers to
// the block of its children and to nothing above it, so any part of a tree can be moved or
// destroyed by itself.
//
// A text of a peer may be nested ten thousand levels deep, so nothing here recurses. Copying keeps
// a list of the values whose children aren't copied yet. Destroying allocates nothing: a block that
// is being destroyed doesn't need its capacity any more and stores its parent block in that field,
// while its size is the number of elements that aren't destroyed yet.

#include "wire/json/json_value.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vantry {

JsonValue& JsonObject::operator[](std::string_view key) {
    JsonMember* const place = Place(key);
    return place != end() && place->key == key ? place->value : InsertAt(place, key, {}).value;
}

void JsonObject::insert(std::string_view key, JsonValue value) {
    JsonMember* const place = Place(key);
    if (place == end() || !(place->key == key)) {
        InsertAt(place, key, std::move(value));
    }
}

void JsonObject::clear() { members.clear(); }

void JsonObject::reserve(std::size_t count) { members.reserve(count); }

JsonMember* JsonObject::Place(std::string_view key) {
    const auto isLess = [](const JsonMember& member, std::string_view wanted) {
        return std::string_view(member.key) < wanted;
    };
    // Keys are usually inserted in order.
    if (empty() || isLess(members.back(), key)) {
        return end();
    }
    return std::lower_bound(begin(), end(), key, isLess);
}

JsonMember& JsonObject::InsertAt(JsonMember* place, std::string_view key, JsonValue value) {
    const std::ptrdiff_t before = place - begin();
    members.emplace_back(key, std::move(value));
    std::rotate(begin() + before, end() - 1, end());
    return begin()[before];
}

const JsonValue* FindKey(const JsonObject& object, std::string_view key) {
    for (const JsonMember& member : object) {
        if (member.key == key) {
            return &member.value;
        }
    }
    return nullptr;
}

bool HasKey(const JsonObject& object, std::string_view key, const JsonValue*& node) {
    const JsonValue* const found = FindKey(object, key);
    node = found != nullptr ? found : node;
    return found != nullptr;
}

void JsonValue::Transfer(JsonValue& other) noexcept {
    type = other.type;
    switch (type) {
        case JsonType::Integer:
            integer = other.integer;
            break;
        case JsonType::Float:
            real = other.real;
            break;
        case JsonType::Bool:
            boolean = other.boolean;
            break;
        case JsonType::String:
            string = std::move(other.string);
            break;
        case JsonType::Object:
            object = std::move(other.object);
            break;
        case JsonType::Array:
            array = std::move(other.array);
            break;
        case JsonType::Null:
            break;
    }
}

JsonValue::JsonValue(JsonValue&& other) noexcept { Transfer(other); }

JsonValue& JsonValue::operator=(JsonValue&& other) noexcept {
    // The source may be a descendant of the target, so it is moved out before the target is
    // changed.
    JsonValue taken(std::move(other));
    Transfer(taken);
    return *this;
}

JsonValue::JsonValue(const JsonValue& other) { *this = other; }

JsonValue& JsonValue::operator=(const JsonValue& other) {
    struct Work {
        const JsonValue* from;
        /// A new value, which has no children yet.
        JsonValue* to;
    };
    JsonValue copy;
    std::vector<Work> work{{&other, &copy}};
    while (!work.empty()) {
        const auto [from, to] = work.back();
        work.pop_back();
        to->type = from->type;
        if (from->type == JsonType::String) {
            to->string = from->string;
        } else if (from->type == JsonType::Object) {
            // With the capacity reserved, inserting moves no element.
            to->object.reserve(from->object.size());
            for (const JsonMember& member : from->object) {
                work.push_back({&member.value, &to->object[member.key]});
            }
        } else if (from->type == JsonType::Array) {
            to->array.reserve(from->array.size());
            for (const JsonValue& element : from->array) {
                work.push_back({&element, &to->array.emplace_back()});
            }
        } else {
            to->integer = from->integer;
            to->boolean = from->boolean;
        }
    }
    return *this = std::move(copy);
}

void JsonBlock::Destroy(JsonBlock* block) noexcept {
    block->parent = nullptr;
    while (block != nullptr) {
        if (block->size == 0) {
            JsonBlock* const done = std::exchange(block, block->parent);
            ::operator delete(done);
            continue;
        }
        const std::uint32_t last = block->size - 1;
        JsonMember* const member =
            block->holdsMembers ? block->Elements<JsonMember>() + last : nullptr;
        JsonValue* const value =
            member != nullptr ? &member->value : block->Elements<JsonValue>() + last;
        JsonBlock* below = std::exchange(value->object.members.block, nullptr);
        if (below == nullptr) {
            below = std::exchange(value->array.block, nullptr);
        }
        if (below != nullptr) {
            below->parent = std::exchange(block, below);
            continue;
        }
        if (member != nullptr) {
            member->~JsonMember();
        } else {
            value->~JsonValue();
        }
        block->size = last;
    }
}

}  // namespace vantry
