#include "wire/json/json_value.h"

#include <algorithm>
#include <utility>

namespace vantry {

JsonValue& JsonObject::operator[](std::string_view key) {
    const auto place = Place(key);
    if (place == members.end()) {
        return members.emplace_back(key).value;
    }
    return place->key == key ? place->value : members.emplace(place, key)->value;
}

void JsonObject::insert(std::string key, JsonValue value) {
    const auto place = Place(key);
    if (place == members.end()) {
        members.emplace_back(std::move(key), std::move(value));
    } else if (place->key != key) {
        members.emplace(place, std::move(key), std::move(value));
    }
}

void JsonObject::clear() { members.clear(); }

JsonValue& JsonObject::Append(std::string_view key) { return members.emplace_back(key).value; }

void JsonObject::SortAppended() {
    const auto outOfOrder = [](const JsonMember& one, const JsonMember& next) {
        return one.key >= next.key;
    };
    if (std::adjacent_find(members.begin(), members.end(), outOfOrder) == members.end()) {
        return;
    }
    std::stable_sort(
        members.begin(), members.end(),
        [](const JsonMember& one, const JsonMember& other) { return one.key < other.key; });
    members.erase(std::unique(members.begin(), members.end(),
                              [](const JsonMember& first, const JsonMember& next) {
                                  return first.key == next.key;
                              }),
                  members.end());
}

void JsonObject::reserve(std::size_t count) { members.reserve(count); }

std::vector<JsonMember>::iterator JsonObject::Place(std::string_view key) {
    // Keys mostly come in order.
    if (members.empty() || members.back().key < key) {
        return members.end();
    }
    return std::lower_bound(
        members.begin(), members.end(), key,
        [](const JsonMember& member, std::string_view wanted) { return member.key < wanted; });
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

JsonValue::JsonValue(JsonValue&& other) noexcept : type(other.type) {
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
            other.string.clear();
            break;
        case JsonType::Object:
            std::swap(object, other.object);
            break;
        case JsonType::Array:
            array.swap(other.array);
            break;
        case JsonType::Null:
            break;
    }
}

JsonValue& JsonValue::operator=(JsonValue&& other) noexcept {
    if (this == &other) {
        return *this;
    }
    // Taken out first: the source may lie inside what the target lets go.
    JsonValue taken(std::move(other));
    type = taken.type;
    switch (type) {
        case JsonType::Integer:
            integer = taken.integer;
            break;
        case JsonType::Float:
            real = taken.real;
            break;
        case JsonType::Bool:
            boolean = taken.boolean;
            break;
        case JsonType::String:
            string.swap(taken.string);
            break;
        case JsonType::Object:
            std::swap(object, taken.object);
            break;
        case JsonType::Array:
            array.swap(taken.array);
            break;
        case JsonType::Null:
            break;
    }
    return *this;
}

JsonValue::JsonValue(const JsonValue& other) { *this = other; }

JsonValue& JsonValue::operator=(const JsonValue& other) {
    // A copy is made beside the target, level by level from a list of work instead of by
    // recursion: `from` was copied without its children to the fresh value `to`.
    struct Work {
        const JsonValue* from;
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
            to->object.reserve(from->object.size());
            for (const JsonMember& member : from->object) {
                to->object[member.key];
            }
            auto target = to->object.begin();
            for (const JsonMember& member : from->object) {
                work.push_back({&member.value, &(target++)->value});
            }
        } else if (from->type == JsonType::Array) {
            to->array.resize(from->array.size());
            for (std::size_t place = 0; place < from->array.size(); ++place) {
                work.push_back({&from->array[place], &to->array[place]});
            }
        } else {
            to->integer = from->integer;
            to->real = from->real;
            to->boolean = from->boolean;
        }
    }
    return *this = std::move(copy);
}

void JsonValue::DestroyChildren() {
    // Trees are mostly flat, and letting them go by recursion is fastest; a deep one goes on from a
    // list of work, so that its depth costs no machine stack.
    thread_local int depth = 0;
    constexpr int kDeepest = 32;
    if (depth == kDeepest) {
        Flatten();
    }
    ++depth;
    object.clear();
    array.clear();
    --depth;
}

void JsonValue::Flatten() {
    // Whoever has children hands them to the heap before it goes, so no destructor finds any.
    JsonArray heap;
    MoveChildrenTo(heap);
    while (!heap.empty()) {
        JsonValue last = std::move(heap.back());
        heap.pop_back();
        last.MoveChildrenTo(heap);
    }
}

void JsonValue::MoveChildrenTo(JsonArray& heap) {
    const auto give = [&heap](JsonValue& child) {
        if (child.HasChildren()) {
            JsonValue shell;
            std::swap(shell.object, child.object);
            std::swap(shell.array, child.array);
            // Only what the tag selects moves, so each container travels under its own tag.
            if (!shell.object.empty()) {
                heap.emplace_back(std::exchange(shell.object, {}));
            }
            if (!shell.array.empty()) {
                heap.emplace_back(std::exchange(shell.array, {}));
            }
        }
    };
    std::for_each(array.begin(), array.end(), give);
    std::for_each(object.begin(), object.end(), [&](JsonMember& child) { give(child.value); });
}

}  // namespace vantry
